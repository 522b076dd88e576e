// The debug port over real sockets. The sibling libraries are this program's own, so it sees their calls.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "logging.h"
#include "sockets.h"
#include "support/forked_child.h"
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
    bool hold = false;      // the command "held" waits until it is false again
    Texts calls;
    std::string record;  // as the listener got it last
    int handle = 0;
    int accepted = 0, holding = 0, closed = 0;
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

}  // namespace

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

// 0 when it is closed.
ino_t identityOf(int fd) {
    struct stat found = {};
    return fstat(fd, &found) == 0 ? found.st_ino : 0;
}

struct Server {
    explicit Server(CmdEntry* table = nullptr) {
        locked([] { siblings.handle = 0; });
        pthread_create(&thread, nullptr, debugCommand_t, table);
        waitUntil([] { return siblings.handle != 0; });
        handle = __atomic_load_n(&g_hDebugServer, __ATOMIC_SEQ_CST);
    }
    ~Server() {
        setCleanExit(1);
        shutdown(handle, SHUT_RDWR);
        pthread_join(thread, nullptr);
        setCleanExit(0);
    }
    pthread_t thread;
    int handle;
};

struct Client {
    explicit Client(const Server& server, const std::string& text = "") {
        sockaddr address = {};
        socklen_t size = sizeof address;
        getsockname(server.handle, &address, &size);
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

std::string ask(const Server& server, const std::string& text) {
    const std::string all = Client(server, text).receive();
    EXPECT_EQ(all.find('\0'), all.size() - 1) << text;
    return all.substr(0, all.find('\0'));
}

int answer(char** reply, const std::string& text, int code) {
    *reply = strdup(text.c_str());
    return code;
}

int waitWhileHeld(char*, char**) {
    locked([] { ++siblings.holding; });
    waitUntil([] { return !siblings.hold; });
    return 0;
}

CmdEntry table[] = {
    {"et", [](char*, char** reply) { return answer(reply, "never reached", 0); }},
    {"five", [](char*, char**) { return 5; }},
    {"Empty", [](char*, char** reply) { return answer(reply, "", -7); }},
    {"nine", [](char*, char** reply) { return answer(reply, "%n", 9); }},
    {"args", [](char* args, char** reply) { return answer(reply, args == nullptr ? "(null)" : args, 0); }},
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
        gDebugMode = 0;
    }
};

TEST_F(DebugServer, ParserTellsWhatItMisses) {
    char* text = nullptr;
    EXPECT_EQ(cmdIntParseCommand(nullptr, nullptr, nullptr, &text), -101);
    EXPECT_EQ(cmdIntParseCommand(table, nullptr, nullptr, &text), -102);
    EXPECT_EQ(cmdIntParseCommand(table, "nin", nullptr, &text), -103);
    EXPECT_EQ(cmdIntParseCommand(std::end(table) - 1, "nine", nullptr, &text), -103);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(cmdIntParseCommand(table, "NiNe", nullptr, &text), 9);
    EXPECT_STREQ(text, "%n");
    free(text);
}

TEST_F(DebugServer, AnswersEachCommand) {
    const std::pair<std::string, std::string> cases[] = {
        {"et\n", "Command 'et\n' not defined. Use '?' for Help\n"},
        {" et", "Command '' not defined. Use '?' for Help\n"},
        {"nix %s", "Command 'nix' not defined. Use '?' for Help\n"},
        {"FIVE now", "Command 'FIVE' executed, rc 5\n"},
        {"empty", "Command 'empty' executed, rc -7\n"},
        {"nine", "%n"},
        {"args", "(null)"},
        {"args ", "Command 'args' executed, rc 0\n"},
        {"args  a  b \n", " a  b \n"},
        {"args " + std::string(295, 'x'), std::string(251, 'x')},
        {"rpc", "No command specified\n"},
        {"rpc ", "\n--\n"},
        {"rpc id -u", "id -u\n-------\n" + std::to_string(getuid()) + "\n"},
        {"debug", "No command specified\n"},
        {"debug ", "set debug options ''\n"},
        {"debug zf", "set debug options 'zf'\n"},
        {"tag", "Must specify tag to read by name\n"},
        {"tag ", "Tag [] = [7 %s]\n"},
        {"tag none", "Tag [none] = []\n"},
        {"help", kLibraryHelp},
        {"?", kLibraryHelp + "daemon help %s%n\n"},
    };
    {
        const Server server(table);
        for (const auto& [command, reply] : cases) {
            EXPECT_EQ(ask(server, command), reply) << command;
        }
        EXPECT_EQ(ask(server, "ET").substr(0, 35), "Process has been running for 0:00:0");
        const std::string numbers = ask(server, "rpc seq 5000");  // whole lines within 10240 bytes
        EXPECT_EQ(numbers.substr(numbers.size() - 11), "\n2268\n2269\n");
        const std::string inherited = ask(server, "rpc ls -l /proc/self/fd </dev/null 2>/dev/null");
        EXPECT_NE(inherited.find("0 -> /dev/null"), std::string::npos) << inherited;
        EXPECT_EQ(inherited.find("socket:"), std::string::npos) << inherited;
    }
    EXPECT_EQ(siblings.calls, (Texts{"port owner", "tag ", "tag none"}));
    EXPECT_EQ(gDebugMode, static_cast<unsigned>(DEBUG_GENERAL | DEBUG_FILE));
    EXPECT_STREQ(gDebugFileName, "/var/lognv/kt/_debug_owner.log");
}

TEST_F(DebugServer, HelpNeedsNoHelpOfTheDaemon) {
    CmdEntry tables[][2] = {{table[1], {}}, {{"?", table[1].handler}, {}}, {{"?", table[2].handler}, {}}};
    for (CmdEntry* daemonTable : {static_cast<CmdEntry*>(nullptr), tables[0], tables[1], tables[2]}) {
        const Server server(daemonTable);
        EXPECT_EQ(ask(server, "?"), kLibraryHelp);
        EXPECT_EQ(ask(server, "nine"), "Command 'nine' not defined. Use '?' for Help\n");
    }
}

TEST_F(DebugServer, EndsByItselfAndSaysWhy) {
    const struct {
        int port, listenerResult;
        bool tearDown;
        const char *printed, *error;
    } cases[] = {
        {-1, 1, false, "): owner isn't available for debug commands\n", nullptr},
        {70000, 1, false, "",
         "error 400 debugCommand: Couldn't start listener for owner on port 70000. 'Invalid argument'"},
        {0, -1, false, "): debugCmd: can't get socket: -1\n",
         "error 400 Cannot allocate socket': debugCmd: -1"},
        {0, 0, false, "): debugCmd: can't get socket: 0\n", "error 400 Cannot allocate socket': debugCmd: 0"},
        {0, -5, true, "): debugCmd: can't get socket: -5\n",
         "error 400 Cannot allocate socket': debugCmd: -5"},
        {0, -1, true, "", nullptr},
    };
    for (const auto& one : cases) {
        siblings = Siblings();
        siblings.port = one.port;
        siblings.listenerResult = one.listenerResult;
        g_hDebugServer = 0;
        gDebugMode = DEBUG_GENERAL;
        siblings.tearDown = one.tearDown;
        const std::string line = kt::test::printedBy([] { debugCommand_t(nullptr); });
        setCleanExit(0);
        EXPECT_EQ(line.substr(std::min(line.find("): "), line.size())), one.printed);
        EXPECT_EQ(siblings.calls,
                  one.error == nullptr ? Texts{"port owner"} : (Texts{"port owner", one.error}));
        if (one.port == 0) {
            EXPECT_EQ(identityOf(siblings.handle), 0U) << "still open";
            EXPECT_EQ(siblings.record, std::string(SOCKET_PEER_RECORD_SIZE, '\0'));
        }
        if (one.error != nullptr) {
            EXPECT_EQ(g_hDebugServer, 0);
        }
    }
}

ptrdiff_t openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

TEST_F(DebugServer, SurvivesHostileClients) {
    const ptrdiff_t before = openDescriptors();
    {
        const Server server(table);
        const Client silent(server);
        const Client deaf(server, "big");
        Client(server).endWithReset();
        Client(server, "big").endWithReset();
        EXPECT_EQ(ask(server, "e"), "Command 'e' not defined. Use '?' for Help\n");

        locked([] { siblings.hold = true; });
        {
            Client gone(server, "held");
            waitUntil([] { return siblings.holding == 1; });
            shutdown(gone.fd, SHUT_WR);  // a reset after an orderly end is what makes the kernel send SIGPIPE
            gone.endWithReset();
        }
        locked([] { siblings.hold = false; });

        for (int i = 0; i < 1000; ++i) {
            Client briefly(server);
        }
        EXPECT_EQ(ask(server, "nine"), "%n");
    }
    EXPECT_EQ(siblings.accepted, 1007);
    EXPECT_EQ(siblings.closed, siblings.accepted);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(DebugServer, TearDownBeforeThePortIsOpenEndsTheThread) {
    setCleanExit(1);
    debugCommand_t(nullptr);
    setCleanExit(0);
    EXPECT_EQ(siblings.calls, Texts{"port owner"});
}

TEST_F(DebugServer, TearDownEndsASilentClient) {
    std::optional<Client> silent;
    {
        const Server server;
        silent.emplace(server);
        waitUntil([] { return siblings.accepted == 1; });
    }
    EXPECT_EQ(silent->receive(), "");
    EXPECT_EQ(siblings.calls, Texts{"port owner"});
}

std::atomic<int> interruptions;

void interrupt(pthread_t thread) {
    for (int i = 0; i < 20; ++i) {
        const int before = interruptions;
        pthread_kill(thread, SIGUSR1);
        while (interruptions == before) {
            sched_yield();
        }
    }
}

TEST_F(DebugServer, SignalsCostNoConnection) {
    for (const int flags : {0, SA_RESTART}) {
        struct sigaction action = {};
        action.sa_handler = [](int) { ++interruptions; };
        action.sa_flags = flags;
        sigaction(SIGUSR1, &action, nullptr);
        const Server server(table);
        Client client(server);
        waitUntil([flags] { return siblings.accepted == (flags == 0 ? 1 : 2); });
        interrupt(server.thread);
        send(client.fd, "big", 3, MSG_NOSIGNAL);
        char first;
        EXPECT_EQ(recv(client.fd, &first, 1, MSG_PEEK), 1);
        interrupt(server.thread);
        EXPECT_EQ(client.receive().size(), kBigReply + 1);
    }
}

// Opens and closes descriptors all the time, so that every number which becomes free is soon in use again.
void churn(const std::atomic<bool>& done, int& lost) {
    while (!done) {
        std::pair<int, ino_t> open[16];
        for (auto& [fd, identity] : open) {
            fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
            identity = identityOf(fd);
        }
        for (const auto& [fd, identity] : open) {
            lost += identity == 0 || identityOf(fd) != identity || close(fd) != 0;
        }
    }
}

TEST_F(DebugServer, ClosesItsListenerOnceAndNothingElse) {
    std::atomic<bool> done{false};
    int lost = 0;
    std::thread other([&] { churn(done, lost); });
    for (int i = 0; i < 200; ++i) {
        const Server server;
    }
    done = true;
    other.join();
    EXPECT_EQ(lost, 0);
}

TEST_F(DebugServer, ExitEndsTheProcessWithoutAReply) {
    int ending = -1;
    const std::string printed = kt::test::printedBy([&] {
        ending = kt::test::inChild([] {
            const Server server;
            Client(server, "EXIT now").receive();
            return 77;
        });
    });
    EXPECT_EQ(printed, "\n*** Exiting by request\n\n");
    EXPECT_EQ(ending, 1);
}

}  // namespace
