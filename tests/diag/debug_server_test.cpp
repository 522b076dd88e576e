// The debug port over real sockets. The sibling libraries are this program's own, so it sees their calls.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "logging.h"
#include "sockets.h"
#include "support/stdout_capture.h"
#include "tags.h"

namespace {

using Texts = std::vector<std::string>;

constexpr size_t kBigReply = 16 << 20;  // more than the kernel buffers for a connection

std::mutex siblingsLock;
std::condition_variable siblingsChanged;
struct Siblings {
    int port = 0;  // 0: the kernel chooses one
    int listenerResult = 1;
    bool tearDown = false;  // what a failing listener finds has begun
    bool held = false;      // the command "held" was called and waits until this is false again
    Texts calls = {};
    std::string record = {};  // as the listener got it last
    int handle = 0, accepted = 0, closed = 0;
} siblings;

template <typename Action>
auto locked(Action action) {
    const std::lock_guard<std::mutex> guard(siblingsLock);
    siblingsChanged.notify_all();
    return action();
}

template <typename Condition>
void waitUntil(Condition condition) {
    std::unique_lock<std::mutex> guard(siblingsLock);
    siblingsChanged.wait(guard, condition);
}

void setCleanExit(int value) {
    __atomic_store_n(&g_cleanExitRequest, value, __ATOMIC_SEQ_CST);
}

std::atomic<int> closedAmiss;

}  // namespace

// Closing a descriptor that is not open could as well have hit one that another thread has just opened.
extern "C" __attribute__((visibility("default"))) int close(int fd) {
    const long result = syscall(SYS_close, fd);
    closedAmiss += result != 0;
    return static_cast<int>(result);
}

int socketGetDebugPortByName(const char* name) {
    return locked([name] { return siblings.calls.push_back("port " + std::string(name)), siblings.port; });
}

int simpleListener(int handle, void* record) {
    const int result = locked([&] {
        siblings.handle = handle;
        siblings.record.assign(static_cast<char*>(record), SOCKET_PEER_RECORD_SIZE);
        return siblings.listenerResult;
    });
    memset(record, 'r', SOCKET_PEER_RECORD_SIZE);
    if (result < 1) {
        setCleanExit(siblings.tearDown);
        return result;
    }
    const int client = accept4(handle, nullptr, nullptr, SOCK_CLOEXEC);
    locked([client] { siblings.accepted += client >= 0; });
    return client;
}

// A plain close, which the kernel turns into a reset when a part of the command was left unread.
int xmlClose(int socket) {
    return locked([socket] { return ++siblings.closed, close(socket); });
}

char* getTagValueByName(void* a, void* b, const char* name, int option) {
    const bool expected = a == nullptr && b == nullptr && option == 0;
    locked([&] { siblings.calls.push_back((expected ? "tag " : "odd tag ") + std::string(name)); });
    return strcmp(name, "none") == 0 ? nullptr : strdup("7 %s");
}

void logError(int code, const char* fmt, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, fmt);
    vsnprintf(text, sizeof text, fmt, arguments);
    va_end(arguments);
    locked([&] { siblings.calls.push_back("error " + std::to_string(code) + ' ' + text); });
}

namespace {

struct Server {
    explicit Server(CmdEntry* table = nullptr) {
        locked([] { siblings.handle = 0; });
        pthread_create(&thread, nullptr, debugCommand_t, table);
        waitUntil([] { return siblings.handle != 0; });
    }
    ~Server() {
        setCleanExit(1);
        shutdown(g_hDebugServer, SHUT_RDWR);
        pthread_join(thread, nullptr);
        setCleanExit(0);
    }
    pthread_t thread;
};

struct Client {
    explicit Client(const std::string& text = "") {
        sockaddr address = {};
        socklen_t size = sizeof address;
        getsockname(g_hDebugServer, &address, &size);
        EXPECT_EQ(connect(fd, &address, size), 0) << strerror(errno);
        EXPECT_EQ(send(fd, text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
    }
    ~Client() { close(fd); }

    // All up to the end of the connection; an end in disorder shows.
    std::string receive() const {
        std::string all;
        char part[8192];
        ssize_t size;
        while ((size = recv(fd, part, sizeof part, 0)) > 0) {
            all.append(part, static_cast<size_t>(size));
        }
        return size < 0 ? all + strerror(errno) : all;
    }
    void endWithReset() const {
        const linger immediately = {1, 0};
        setsockopt(fd, SOL_SOCKET, SO_LINGER, &immediately, sizeof immediately);
    }
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

std::string ask(const std::string& text) {
    const std::string all = Client(text).receive();
    EXPECT_EQ(all.find('\0'), all.size() - 1) << text;
    return all.substr(0, all.find('\0'));
}

int answer(char** reply, const std::string& text, int code) {
    *reply = strdup(text.c_str());
    return code;
}

int waitWhileHeld(char*, char**) {
    locked([] { siblings.held = true; });
    waitUntil([] { return !siblings.held; });
    return 0;
}

CmdEntry table[] = {
    {"et", [](char*, char** reply) { return answer(reply, "never reached", 0); }},
    {"five", [](char*, char**) { return 5; }},
    {"Empty", [](char*, char** reply) { return answer(reply, "", -7); }},
    {"nine", [](char*, char** reply) { return answer(reply, "%n", 9); }},
    {"args", [](char* args, char** reply) { return answer(reply, args, 0); }},
    {"big", [](char*, char** reply) { return answer(reply, std::string(kBigReply, 'b'), 0); }},
    {"held", waitWhileHeld},
    {"?", [](char*, char** reply) { return answer(reply, "daemon help %s%n\n", 5); }},
    {nullptr, nullptr},
};

const std::string kLibraryHelp = "Global commands\n  et\n  rpc\n  tag\n  debug\n  exit\n  help\n  ?\n";

struct DebugServer : testing::Test {
    void SetUp() override {
        setProcessName("owner");
        siblings = Siblings();
        gDebugMode = DEBUG_GENERAL;
    }
    void TearDown() override { EXPECT_EQ(closedAmiss, 0); }
};

TEST_F(DebugServer, ParserTellsWhatItMissesAndObeysExit) {
    EXPECT_EQ(cmdIntParseCommand(nullptr, nullptr, nullptr, nullptr), -101);
    EXPECT_EQ(cmdIntParseCommand(table, nullptr, nullptr, nullptr), -102);
    EXPECT_EQ(cmdIntParseCommand(table, "nin", nullptr, nullptr), -103);
    EXPECT_EXIT(cmdIntParseCommand(cmdTableCommon, "EXIT", nullptr, nullptr), testing::ExitedWithCode(1), "");
}

TEST_F(DebugServer, AnswersEachCommand) {
    const std::pair<std::string, std::string> cases[] = {
        {"et\n", "Command 'et\n' not defined. Use '?' for Help\n"},
        {" et", "Command '' not defined. Use '?' for Help\n"},
        {"FIVE now", "Command 'FIVE' executed, rc 5\n"},
        {"args ", "Command 'args' executed, rc 0\n"},
        {"args  a  b \n", " a  b \n"},
        {"args " + std::string(295, 'x'), std::string(251, 'x')},
        {"rpc", "No command specified\n"},
        {"rpc id -u", "id -u\n-------\n" + std::to_string(getuid()) + "\n"},
        {"debug", "No command specified\n"},
        {"debug zf", "set debug options 'zf'\n"},
        {"tag", "Must specify tag to read by name\n"},
        {"tag ", "Tag [] = [7 %s]\n"},
        {"tag none", "Tag [none] = []\n"},
        {"help", kLibraryHelp},
        {"?", kLibraryHelp + "daemon help %s%n\n"},
    };
    const Server server(table);
    for (const auto& [command, reply] : cases) {
        EXPECT_EQ(ask(command), reply) << command;
    }
    EXPECT_EQ(ask("ET").substr(0, 35), "Process has been running for 0:00:0");
    const std::string numbers = ask("rpc seq 5000");  // whole lines within 10240 bytes
    EXPECT_EQ(numbers.substr(numbers.size() - 11), "\n2268\n2269\n");
    EXPECT_EQ(siblings.calls, (Texts{"port owner", "tag ", "tag none"}));
    EXPECT_EQ(gDebugMode, static_cast<unsigned>(DEBUG_GENERAL | DEBUG_FILE));
}

TEST_F(DebugServer, HelpNeedsNoHelpOfTheDaemon) {
    CmdEntry tables[][2] = {{table[1], {}}, {{"?", table[1].handler}, {}}, {{"?", table[2].handler}, {}}};
    for (CmdEntry* daemonTable : {static_cast<CmdEntry*>(nullptr), tables[0], tables[1], tables[2]}) {
        const Server server(daemonTable);
        EXPECT_EQ(ask("?"), kLibraryHelp);
        EXPECT_EQ(ask("nine"), "Command 'nine' not defined. Use '?' for Help\n");
    }
}

// What is logged, then what is printed.
Texts socketFailure(const std::string& result) {
    return {"error 400 Cannot allocate socket': debugCmd: " + result,
            "): debugCmd: can't get socket: " + result + '\n'};
}

TEST_F(DebugServer, EndsByItselfAndSaysWhy) {
    const std::pair<Siblings, Texts> cases[] = {
        {{-1}, {"", "): owner isn't available for debug commands\n"}},
        {{70000},
         {"error 400 debugCommand: Couldn't start listener for owner on port 70000. 'Invalid argument'", ""}},
        {{0, -1}, socketFailure("-1")},
        {{0, 0}, socketFailure("0")},
        {{0, -5, true}, socketFailure("-5")},
        {{0, -1, true}, {"", ""}},
    };
    for (const auto& [setting, said] : cases) {
        siblings = setting;
        g_hDebugServer = 99;
        const std::string line = kt::test::printedBy([] { debugCommand_t(nullptr); });
        setCleanExit(0);
        siblings.calls.resize(2);
        EXPECT_EQ((Texts{siblings.calls[1], line.substr(std::min(line.find("): "), line.size()))}), said);
        EXPECT_TRUE(said[0].empty() || g_hDebugServer == 0);
        EXPECT_TRUE(setting.port != 0 || fcntl(siblings.handle, F_GETFD) == -1) << "still open";
        EXPECT_EQ(siblings.record, std::string(siblings.record.size(), '\0'));
    }
}

TEST_F(DebugServer, SurvivesHostileClientsAndEndsThemWithItself) {
    std::optional<Server> server(std::in_place, table);
    const Client silent;
    const Client deaf("big");
    Client("big").endWithReset();
    EXPECT_EQ(ask("e"), "Command 'e' not defined. Use '?' for Help\n");
    {
        const Client gone("held");
        waitUntil([] { return siblings.held; });
        shutdown(gone.fd, SHUT_WR);  // a reset after an orderly end is what makes the kernel send SIGPIPE
        gone.endWithReset();
    }
    locked([] { siblings.held = false; });
    for (int i = 0; i < 1000; ++i) {
        const Client briefly;
    }
    EXPECT_EQ(ask("nine"), "%n");
    const Client last;
    waitUntil([] { return siblings.accepted == 1007; });
    server.reset();
    EXPECT_EQ(last.receive(), "");
    EXPECT_EQ(siblings.closed, siblings.accepted);
    EXPECT_EQ(siblings.calls, Texts{"port owner"});
}

TEST_F(DebugServer, TearDownEndsItAtAnyMoment) {
    setCleanExit(1);
    debugCommand_t(nullptr);
    setCleanExit(0);
    EXPECT_EQ(siblings.calls, Texts{"port owner"});
    for (int i = 0; i < 200; ++i) {
        const Server server;
    }
}

std::atomic<int> interruptions;

void interrupt(pthread_t thread) {
    for (int i = 0; i < 20; ++i) {
        interruptions = 0;
        pthread_kill(thread, SIGUSR1);
        while (interruptions == 0) {
            sched_yield();
        }
    }
}

TEST_F(DebugServer, SignalsCostNoConnection) {
    signal(SIGUSR1, [](int) { ++interruptions; });
    const Server server(table);
    const Client client;
    waitUntil([] { return siblings.accepted == 1; });
    interrupt(server.thread);
    send(client.fd, "big", 3, MSG_NOSIGNAL);
    char first;
    EXPECT_EQ(recv(client.fd, &first, 1, MSG_PEEK), 1);
    interrupt(server.thread);
    EXPECT_EQ(client.receive().size(), kBigReply + 1);
}

}  // namespace
