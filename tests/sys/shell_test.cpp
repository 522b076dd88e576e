// Runs in the virtual unit, whose ports.txt gives the command daemon a port.
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <sockets.h>
#include <sys/socket.h>

#include <future>

#include "support/cancellable_thread.h"
#include "support/debug_lines.h"
#include "support/forked_child.h"
#include "support/logged.h"

namespace {

using namespace kt::test;
using namespace std::string_literals;

using Outcome = std::pair<int, std::string>;  // result and debug lines

Outcome outcomeOf(decltype(&systemEx) function, const std::string& command) {
    int result = 0;
    const std::string lines = debugLinesOf([&] { result = function("%s", command.c_str()); });
    return {result, lines};
}

bool isFree(pthread_mutex_t& mutex) {
    return pthread_mutex_trylock(&mutex) == 0 && pthread_mutex_unlock(&mutex) == 0;
}

TEST(Shell, ExitCodesAndDebugLines) {
    const std::pair<std::string, Outcome> cases[] = {
        {"exit 3", {3, "systemEx: 768.3.[exit 3]\n"}},
        {"/no/such 2>/dev/null", {127, "systemEx: 32512.127.[/no/such 2>/dev/null]\n"}},
        {"kill -9 $$", {0, "systemEx: 9.0.[kill -9 $$]\n"}}};
    for (const auto& [command, expected] : cases) {
        EXPECT_EQ(outcomeOf(systemEx, command), expected);
        EXPECT_EQ(outcomeOf(systemExec, command), expected);
    }
    const auto withoutStatus = [] {
        signal(SIGCHLD, SIG_IGN);
        return outcomeOf(systemEx, "mkdir /tmp/ran") == Outcome(-1, "systemEx: -1.-1.[mkdir /tmp/ran]\n") &&
               rmdir("/tmp/ran") == 0;
    };
    EXPECT_EQ(inChild(withoutStatus), 1);
}

TEST(Shell, CommandHoldsItsLockUntilItEndsOrIsCancelled) {
    ASSERT_EQ(mkfifo("/tmp/fifo", 0600), 0);
    signal(SIGPIPE, SIG_IGN);
    for (const auto function : {systemEx, systemExec}) {
        CancellableThread running([=] { function("exec cat %s", "/tmp/fifo"); });
        const int writer = open("/tmp/fifo", O_WRONLY | O_CLOEXEC);  // waits until the command runs
        EXPECT_TRUE(!isFree(mutexSystemEx) && isFree(mutexTsSystemEx));
        running.cancel();
        EXPECT_TRUE(!running.join() && isFree(mutexSystemEx));
        EXPECT_EQ(write(writer, "x", 1), -1) << "the command runs on";
        close(writer);
    }
}

TEST(Shell, AnyReplies) {
    const std::pair<std::string, int> cases[] = {
        {"", -1}, {"3", 3}, {" -12 apples\n", -12}, {"none", 0}, {std::string(78, '0') + "427777777", 42}};
    const int listener = simpleBind(socketGetDebugPortByName("365"));
    for (const auto& [reply, result] : cases) {
        auto outcome = std::async(std::launch::async, outcomeOf, tsSystemEx, "1% %n");
        const int client = simpleListener(listener, nullptr);
        char command[16];
        EXPECT_EQ(std::string(command, recv(client, command, sizeof command, 0)), "1% %n\0"s);
        send(client, reply.data(), reply.size(), MSG_NOSIGNAL);
        xmlClose(client);
        EXPECT_EQ(outcome.get(), Outcome(result, "tsSystemEx: " + std::to_string(result) + ".[1% %n]\n"));
    }
    signal(SIGPIPE, SIG_DFL);
    auto unread =
        std::async(std::launch::async, [] { return tsSystemEx("%s", std::string(8000000, 'x').c_str()); });
    const int hasty = simpleListener(listener, nullptr);
    send(hasty, "9", 1, MSG_NOSIGNAL);
    close(hasty);
    EXPECT_EQ(unread.get(), 9);
    CancellableThread waiting([] { tsSystemEx("x"); });
    const int client = simpleListener(listener, nullptr);
    char byte[2];
    EXPECT_EQ(recv(client, byte, sizeof byte, MSG_WAITALL), 2);
    EXPECT_TRUE(!isFree(mutexTsSystemEx) && isFree(mutexSystemEx));
    waiting.cancel();
    EXPECT_TRUE(!waiting.join() && isFree(mutexTsSystemEx));
    EXPECT_EQ(recv(client, byte, sizeof byte, 0), 0) << "the connection is still open";
    close(client);
    close(listener);
}

TEST(Shell, CommandDaemon) {
    const pid_t daemon = fork();
    if (daemon == 0) {
        execl("/bin/sh", "sh", "-c", "exec " KT_RUN_PREFIX " " SHELLD_PATH, nullptr);
        _exit(1);
    }
    int silent = -1;  // a client whose command the daemon waits for in vain
    until([&silent] { return (silent = socketOpenWriter(365, 365, 0)) >= 1; });
    EXPECT_EQ(outcomeOf(tsSystemEx, "exit 3").first, 3);
    EXPECT_EQ(outcomeOf(tsSystemEx, "exit 5 #" + std::string(20000, 'x')).first, 5);
    EXPECT_EQ(outcomeOf(tsSystemEx, "exit 5 #" + std::string(140000, 'x')).first, -1);
    const char* countDescriptors = "exit $(ls /proc/self/fd | wc -l)";
    EXPECT_EQ(outcomeOf(tsSystemEx, countDescriptors).first, outcomeOf(systemEx, countDescriptors).first);
    socketCloseWriter(silent);

    int status = 0;
    kill(daemon, SIGTERM);
    waitpid(daemon, &status, 0);
    EXPECT_EQ(WTERMSIG(status), SIGTERM);
    EXPECT_EQ(logged, "");
    const Outcome refused(-1, "tsSystemEx, can't connect to host: Connection refused\n");
    EXPECT_EQ(outcomeOf(tsSystemEx, "x"), refused);
    EXPECT_EQ(logged, "365 Couldn't connect to host: Connection refused\n");
}

}  // namespace
