// The debug port over real sockets, in the virtual unit. Some of the sibling libraries are this program's own.
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <sockets.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <tags.h>

#include <optional>

#include "support/cancellable_thread.h"
#include "support/debug_lines.h"
#include "support/files.h"

namespace {

using kt::test::until;

constexpr size_t kBigReply = 16 << 20;  // more than the kernel buffers for a connection

// What the siblings do, and what has come of it.
int port;  // 0: the kernel chooses one
int listenerResult;
bool isTornDown;          // when a listener fails
std::atomic<int> handle;  // that the listener got last
std::atomic<int> accepted, closed, closedAmiss;
std::atomic<bool> isHeld;  // the command "held" was called and waits until this is false again

void setCleanExit(int value) { __atomic_store_n(&g_cleanExitRequest, value, __ATOMIC_SEQ_CST); }

}  // namespace

// Closing a descriptor that is not open could as well have hit one that another thread has just opened.
extern "C" __attribute__((visibility("default"))) int close(int fd) {
    const long result = syscall(SYS_close, fd);
    closedAmiss += result != 0;
    return static_cast<int>(result);
}

int socketGetDebugPortByName(const char* name) {
    EXPECT_STREQ(name, "owner");
    return port;
}

int simpleListener(int listener, void* record) {
    handle = listener;
    if (listenerResult < 1) {
        const char zeros[SOCKET_PEER_RECORD_SIZE] = {};
        EXPECT_EQ(memcmp(record, zeros, sizeof zeros), 0);
        setCleanExit(isTornDown);
        return listenerResult;
    }
    memset(record, 'r', SOCKET_PEER_RECORD_SIZE);
    const int client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    accepted += client >= 0;
    return client;
}

// A plain close, which the kernel turns into a reset when a part of the command was left unread.
int xmlClose(int socket) { return ++closed, close(socket); }

char* getTagValueByName(void* a, void* b, const char* name, int option) {
    EXPECT_TRUE(a == nullptr && b == nullptr && option == 0);
    return strcmp(name, "none") == 0 ? nullptr : strdup((name + std::string(" 7 %s")).c_str());
}

namespace {

struct Server {
    explicit Server(CmdEntry* table = nullptr) {
        handle = 0;
        pthread_create(&thread, nullptr, debugCommand_t, table);
        until([] { return handle != 0; });
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
        while ((size = recv(fd, part, sizeof part, 0)) > 0) { all.append(part, static_cast<size_t>(size)); }
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

int answer(char** reply, const std::string& text, int code) { return *reply = strdup(text.c_str()), code; }

int waitWhileHeld(char*, char**) {
    isHeld = true;
    until([] { return !isHeld; });
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
    {}};

// Without their dates.
std::string takeErrors() {
    constexpr char log[] = "/var/lognv/kt/error";
    const std::string logged = kt::test::contentsOf(log);
    unlink(log);
    return logged.substr(std::min<size_t>(logged.size(), 20));
}

const std::string kLibraryHelp = "Global commands\n  et\n  rpc\n  tag\n  debug\n  exit\n  help\n  ?\n";

struct DebugServer : testing::Test {
    DebugServer() {
        setProcessName("owner");
        port = accepted = closed = 0;
        listenerResult = 1;
        gDebugMode = DEBUG_GENERAL;
    }
    ~DebugServer() override { EXPECT_EQ(std::to_string(closedAmiss) + takeErrors(), "0"); }
};

TEST_F(DebugServer, ParserTellsWhatItMisses) {
    EXPECT_EQ(cmdIntParseCommand(nullptr, nullptr, nullptr, nullptr), -101);
    EXPECT_EQ(cmdIntParseCommand(table, nullptr, nullptr, nullptr), -102);
    EXPECT_EQ(cmdIntParseCommand(table, "nin", nullptr, nullptr), -103);
}

TEST_F(DebugServer, AnswersEachCommand) {
    // clang-format off
    const std::pair<std::string, std::string> cases[] = {
        {"et\n", "Command 'et\n' not defined. Use '?' for Help\n"},
        {" et", "Command '' not defined. Use '?' for Help\n"},
        {"FIVE now", "Command 'FIVE' executed, rc 5\n"}, {"args ", "Command 'args' executed, rc 0\n"},
        {"args  a  b \n", " a  b \n"}, {"args " + std::string(295, 'x'), std::string(251, 'x')},
        {"rpc", "No command specified\n"},
        {"rpc id -u", "id -u\n-------\n" + std::to_string(getuid()) + "\n"},
        {"debug", "No command specified\n"}, {"debug zf", "set debug options 'zf'\n"},
        {"tag", "Must specify tag to read by name\n"}, {"tag ", "Tag [] = [ 7 %s]\n"},
        {"tag none", "Tag [none] = []\n"}, {"help", kLibraryHelp}, {"?", kLibraryHelp + "daemon help %s%n\n"}};
    // clang-format on
    const Server server(table);
    for (const auto& [command, reply] : cases) { EXPECT_EQ(ask(command), reply) << command; }
    EXPECT_EQ(ask("ET").substr(0, 35), "Process has been running for 0:00:0");
    const std::string numbers = ask("rpc seq 5000");  // whole lines within 10240 bytes
    EXPECT_EQ(numbers.substr(numbers.size() - 11), "\n2268\n2269\n");
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

TEST_F(DebugServer, EndsByItselfAndSaysWhy) {
    const std::tuple<int, int, bool, std::string, std::string> cases[] = {
        {-1, 1, false, "", "owner isn't available for debug commands\n"},
        {70000, 1, false,
         "400 debugCommand: Couldn't start listener for owner on port 70000. 'Invalid argument'\n", ""},
        {0, -1, false, "400 Cannot allocate socket': debugCmd: -1\n", "debugCmd: can't get socket: -1\n"},
        {0, 0, false, "400 Cannot allocate socket': debugCmd: 0\n", "debugCmd: can't get socket: 0\n"},
        {0, -5, true, "400 Cannot allocate socket': debugCmd: -5\n", "debugCmd: can't get socket: -5\n"},
        {0, -1, true, "", ""}};
    for (const auto& [itsPort, result, isEnded, logged, said] : cases) {
        std::tie(port, listenerResult, isTornDown) = std::tie(itsPort, result, isEnded);
        g_hDebugServer = 99;
        EXPECT_EQ(kt::test::debugLinesOf([] { debugCommand_t(nullptr); }), said);
        setCleanExit(0);
        EXPECT_EQ(takeErrors(), logged);
        EXPECT_TRUE(logged.empty() || g_hDebugServer == 0);
        EXPECT_TRUE(port != 0 || fcntl(handle, F_GETFD) == -1) << "still open";
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
        until([] { return isHeld.load(); });
        shutdown(gone.fd, SHUT_WR);  // a reset after an orderly end is what makes the kernel send SIGPIPE
        gone.endWithReset();
    }
    isHeld = false;
    for (int i = 0; i < 1000; ++i) { const Client briefly; }
    EXPECT_EQ(ask("nine"), "%n");
    const Client last;
    until([] { return accepted == 1007; });
    server.reset();
    EXPECT_EQ(last.receive(), "");
    EXPECT_EQ(closed, accepted);
}

TEST_F(DebugServer, TearDownEndsItAtAnyMoment) {
    setCleanExit(1);
    debugCommand_t(nullptr);
    setCleanExit(0);
    for (int i = 0; i < 200; ++i) { const Server server; }
}

TEST_F(DebugServer, SignalsCostNoConnection) {
    const Server server(table);
    const Client client;
    until([] { return accepted == 1; });
    kt::test::interrupt(server.thread, 20);
    send(client.fd, "big", 3, MSG_NOSIGNAL);
    char first;
    EXPECT_EQ(recv(client.fd, &first, 1, MSG_PEEK), 1);
    kt::test::interrupt(server.thread, 20);
    EXPECT_EQ(client.receive().size(), kBigReply + 1);
}

}  // namespace
