// Each case is a process of its own, with a debug port of its own in the unit.
#include <arpa/inet.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <messaging.h>
#include <sys/mman.h>
#include <sys/socket.h>

#include <atomic>
#include <fstream>

#include "support/cancellable_thread.h"
#include "support/debug_lines.h"
#include "support/files.h"
#include "support/forked_child.h"

using kt::test::until;

// As newer C libraries have it, of two threads that call exit the second one waits for ever; not with older ones.
static bool exitBlocks = true;
KT_API void exit(int status) noexcept {
    static const auto real = reinterpret_cast<decltype(&exit)>(dlsym(RTLD_NEXT, __func__));
    static pthread_mutex_t only = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
    if (exitBlocks) { pthread_mutex_lock(&only); }
    real(status);
    abort();
}

// What the cases and their parent see of each other.
struct Shared {
    std::atomic<int> drainsBegun, drainsDone, handlers;
};
static Shared& shared = *static_cast<Shared*>(
    mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

static MUTEX* destroyed;
int destroyMutex(MUTEX* m) { return destroyed = m, pthread_mutex_destroy(&m->mutex); }

static void (*whileDraining)() = [] {};
int _msgDrain(void) {
    ++shared.drainsBegun;
    whileDraining();
    return ++shared.drainsDone;
}

namespace {

using kt::test::inChild;

constexpr uint16_t kPort = 4390;

int openConnection() {
    const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {AF_INET, htons(kPort), {htonl(INADDR_LOOPBACK)}, {}};
    if (connect(client, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) { return client; }
    close(client);
    return -1;
}

std::string answerTo(const std::string& command, bool waits = true) {
    int client = -1;
    until([&client] { return (client = openConnection()) >= 0; });
    EXPECT_EQ(send(client, command.data(), command.size(), 0), static_cast<ssize_t>(command.size()));
    char reply[100] = {};
    EXPECT_GE(waits ? recv(client, reply, sizeof reply - 1, MSG_WAITALL) : 0, 0);
    return reply;
}

void untilTornDown() {
    ++shared.handlers;
    until([] { return __atomic_load_n(&g_cleanExitRequest, __ATOMIC_SEQ_CST) != 0; });
}

int tearDown(char*, char**) {
    libraryDeinit();
    ++shared.handlers;
    return 0;
}
int tearDownLate(char* args, char** reply) { return untilTornDown(), tearDown(args, reply); }
int exitLate(char* args, char** reply) { return untilTornDown(), _ccmd_exit(args, reply); }

CmdEntry commands[] = {{"down", tearDown}, {"exit-late", exitLate}, {"down-late", tearDownLate}, {}};

void startDaemon() {
    setProcessName("library_case");
    std::ofstream("/usr/local/data/ports.txt", std::ios::app) << "library_case " << kPort << "\n";
    EXPECT_EQ(libraryInit(commands), 0);
}

TEST(Library, ServesFromItsStartToItsEnd) {
    const int result = inChild([] {
        startDaemon();
        EXPECT_EQ(g_processName + std::string(gThreadDataLock.name) + g_ProductInfo.productClass,
                  "library_caseTHREAD_DATAGateway");
        // A child has the exit handlers, but not the port.
        EXPECT_EQ(inChild([] { return libraryDeinit(); }), 0);
        EXPECT_EQ(answerTo("et").substr(0, 28), "Process has been running for");
        for (const std::string last : {"library_case exit\n", ""}) {
            EXPECT_EQ(kt::test::debugLinesOf([] { EXPECT_EQ(libraryDeinit(), 0); }), last);
        }
        EXPECT_TRUE(destroyed == &gThreadDataLock && openConnection() == -1);
        return testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(result, 0);
}

// Wherever it is called from and whatever comes in between, the tear-down is done once, and to its end.
TEST(Library, EndsFromAnyThreadAtAnyTime) {
    struct {
        const char* command;
        bool waitsForHandler, exitsDuringDrain, exitBlocks;
        int status;  // that of main's exit is 7
    } const cases[] = {{"et", false, false, true, 7},        {"exit", false, true, true, 1},
                       {"exit-late", true, false, true, 7},  {"exit-late", true, false, false, 7},
                       {"down-late", true, false, false, 7}, {"down-late", true, false, true, 7},
                       {"down", true, false, true, 7},       {"down", false, true, true, 7}};
    for (const auto& run : cases) {
        new (&shared) Shared();
        const int status = inChild([&run] {
            exitBlocks = run.exitBlocks;
            startDaemon();
            atexit([] { libraryDeinit(); });
            if (run.exitsDuringDrain) {
                whileDraining = [] {
                    until([] { return shared.handlers == 1; });
                    usleep(50000);  // who does not wait has ended the process by then
                };
            }
            answerTo(run.command, false);
            until([&run] {
                return run.exitsDuringDrain ? shared.drainsBegun == 1
                                            : shared.handlers == 1 || !run.waitsForHandler;
            });
            ++shared.handlers;
            exit(7);
            return 0;
        });
        EXPECT_EQ(status, run.status) << run.command;
        EXPECT_EQ(shared.drainsBegun * shared.drainsDone, 1) << run.command;
    }
}

}  // namespace
