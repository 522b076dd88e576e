// Each case is a process of its own, with a debug port of its own in the unit.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <messaging.h>
#include <sys/socket.h>

#include <atomic>
#include <fstream>
#include <set>

#include "support/cancellable_thread.h"
#include "support/files.h"
#include "support/forked_child.h"
#include "support/stdout_capture.h"

static std::atomic<int> drains;
int _msgDrain(void) {
    return ++drains;
}

namespace {

using kt::test::inChild;
using kt::test::until;

constexpr uint16_t kPort = 4390;
std::atomic<bool> isServing;

int openConnection() {
    const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {AF_INET, htons(kPort), {htonl(INADDR_LOOPBACK)}, {}};
    if (connect(client, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
        return client;
    }
    close(client);
    return -1;
}

void order(int client, const std::string& command) {
    EXPECT_EQ(send(client, command.data(), command.size(), 0), static_cast<ssize_t>(command.size()));
}

int connectToPort() {
    int client = -1;
    until([&client] { return (client = openConnection()) >= 0; });
    return client;
}

// An "exit" that comes to its end only once somebody else has begun to end the process.
int exitDuringTearDown(char* args, char** reply) {
    isServing = true;
    until([] { return __atomic_load_n(&g_cleanExitRequest, __ATOMIC_SEQ_CST) != 0; });
    return _ccmd_exit(args, reply);
}

int tearDown(char*, char**) {
    libraryDeinit();
    isServing = true;
    return 0;
}

CmdEntry commands[] = {{"late", exitDuringTearDown}, {"down", tearDown}, {nullptr, nullptr}};

void startDaemon() {
    setProcessName("library_case");
    std::ofstream("/usr/local/data/ports.txt", std::ios::app) << "library_case " << kPort << "\n";
    EXPECT_EQ(libraryInit(commands), 0);
}

TEST(Library, ServesFromItsStartToItsEnd) {
    const int result = inChild([] {
        startDaemon();
        EXPECT_NE(g_threadIdDebugListener, pthread_t{});
        EXPECT_STREQ(g_processName, "library_case");
        EXPECT_STREQ(gThreadDataLock.name, "THREAD_DATA");
        EXPECT_STREQ(g_ProductInfo.productClass, "Gateway");
        const int client = connectToPort();
        order(client, "et");
        char reply[100] = {};
        EXPECT_GT(recv(client, reply, sizeof reply - 1, MSG_WAITALL), 0);
        EXPECT_EQ(std::string(reply).substr(0, 28), "Process has been running for");
        gDebugMode = DEBUG_GENERAL;
        for (const std::string last : {"library_case exit\n", ""}) {
            const std::string printed = kt::test::printedBy([] { EXPECT_EQ(libraryDeinit(), 0); });
            EXPECT_EQ(printed.substr(printed.size() - last.size()), last);
            EXPECT_EQ(printed.empty(), last.empty());
        }
        EXPECT_EQ(g_cleanExitRequest * drains, 1);
        EXPECT_EQ(openConnection(), -1);
        return testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(result, 0);
}

TEST(Library, EndsFromAnyThreadAtAnyTime) {
    struct {
        const char* command;
        bool waitsForPort;  // until its handler is at work
        int mainStatus;     // 0: main waits
        std::set<int> statuses;
    } const cases[] = {
        {nullptr, false, 7, {7}},
        {"exit", false, 0, {1}},
        {"late", true, 7, {1, 7}},
        {"down", true, 7, {7}},
    };
    for (const auto& run : cases) {
        const int status = inChild([&run] {
            startDaemon();
            atexit([] { libraryDeinit(); });
            if (run.command != nullptr) {
                order(connectToPort(), run.command);
            }
            until([&run] { return isServing || !run.waitsForPort; });
            if (run.mainStatus != 0) {
                exit(run.mainStatus);
            }
            for (;;) {
                pause();
            }
            return 0;
        });
        EXPECT_EQ(run.statuses.count(status), 1U)
            << (run.command ? run.command : "exit of main") << " " << status;
    }
}

TEST(Library, ASecondInstanceGetsNoPort) {
    EXPECT_EQ(
        inChild([] {
            (void)!symlink("/bin/sleep", "/tmp/kt-twice");
            (void)!system(
                "/tmp/kt-twice 60 & /tmp/kt-twice 60 & until [ $(pidof kt-twice | wc -w) = 2 ]; do :; done");
            setProcessName("kt-twice");
            const int started = libraryInit(commands);
            return started == 0 && g_threadIdDebugListener == 0 && libraryDeinit() == 0 ? 0 : 1;
        }),
        0);
}

}  // namespace
