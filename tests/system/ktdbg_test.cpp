// Runs the real ktdbg binary against a daemon's part that is played here, at the port that the unit gives gwdemo.
#include <gtest/gtest.h>
#include <sockets.h>
#include <sys/socket.h>

#include <thread>
#include <vector>

#include "support/stdout_capture.h"

namespace {

using namespace std::string_literals;
using kt::test::printedBy;
using Texts = std::vector<std::string>;

const int kPort = socketGetDebugPortByName("gwdemo");

bool sendAll(int connection, const std::string& text) {
    return send(connection, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
}

// Like a daemon: one receive per connection, then the answer, then close. Returns what was received while the body ran.
template <typename Answer, typename Body>
Texts receivedWhile(Answer answer, Body body) {
    Texts received;
    const int listener = simpleBind(kPort);
    std::thread server([&] {
        for (int connection; (connection = simpleListener(listener, nullptr)) >= 0; close(connection)) {
            char buffer[257];
            const ssize_t size = recv(connection, buffer, sizeof buffer, 0);
            received.emplace_back(buffer, size > 0 ? static_cast<size_t>(size) : 0);
            answer(connection, received.back());
        }
    });
    body();
    shutdown(listener, SHUT_RDWR);
    server.join();
    close(listener);
    return received;
}

// No text: ends the connection in disorder.
auto replyWith(const std::string& text) {
    return [text](int connection, const std::string&) {
        const linger immediate{text.empty() ? 1 : 0, 0};
        setsockopt(connection, SOL_SOCKET, SO_LINGER, &immediate, sizeof immediate);
        sendAll(connection, text);
    };
}

struct Result {
    int exitCode = -1;
    std::string output, errors;
};

// Of a line of shell.
Result run(const std::string& line) {
    const std::string script = "ktdbg() { " KT_RUN_PREFIX " " KTDBG_PATH " \"$@\"; }\n" + line;
    Result result;
    const auto execute = [&] { result.exitCode = WEXITSTATUS(system(script.c_str())); };
    result.errors = printedBy([&] { result.output = printedBy(execute); }, stderr);
    return result;
}

TEST(KtdbgReply, DecidesTheExitCodeAndIsPrintedUpToItsNul) {
    const std::string longest(256, 'c');
    // clang-format off
    const std::tuple<std::string, std::string, int> cases[] = {
        {"et", "Process has been running for 3s\n\0"s, 0}, {"et", "\x01\xff%s%n\r\x1b[2J\0behind\0more"s, 0},
        {"et", "\0"s, 0}, {"rpc cat  x", std::string(1000000, 'x') + '\0', 0},
        {"nix a", "Command 'nix' not defined. Use '?' for Help\n\0"s, 1},
        {"go", "Command 'go' executed, rc 5\n\0"s, 1}, {"go", "Command 'go' executed, rc -1\n\0"s, 1},
        {"go", "Command 'go' executed, rc 0\n\0"s, 0}, {"rpc", "No command specified\n\0"s, 1},
        {"tag", "Must specify tag to read by name\n\0"s, 1},
        {"log", "seen: Command 'log' executed, rc 5\nNo command specified\n\0"s, 0}, {"exits", "", 5},
        {"ExIt", "", 0}, {"exit now", "", 0},
        {longest, "Command '" + longest + "' not defined. Use '?' for Help\n\0"s, 1}};
    // clang-format on
    for (const auto& [command, reply, exitCode] : cases) {
        SCOPED_TRACE(command.substr(0, 10) + ": " + reply.substr(0, 60));
        Result result;
        const auto ask = [&, line = "ktdbg gwdemo '" + command + "'"] { result = run(line); };
        receivedWhile(replyWith(reply), ask);
        EXPECT_EQ(result.exitCode, exitCode);
        EXPECT_TRUE(result.output == reply.substr(0, reply.find('\0'))) << result.output.substr(0, 200);
        EXPECT_EQ(result.errors.empty(), exitCode != 5) << result.errors;
    }
}

TEST(KtdbgReply, TimeLimitHoldsForSilentAndForEndlessDaemons) {
    for (const bool endless : {false, true}) {
        const auto delay = [endless](int connection, const std::string&) {
            char text[99];
            sendAll(connection, "half");
            while (endless && sendAll(connection, std::string(65536, '\0'))) {}
            while (recv(connection, text, sizeof text, 0) > 0) {}
        };
        receivedWhile(delay, [] {
            const Result result = run("ktdbg -t 0.3 gwdemo exit");
            EXPECT_TRUE(result.exitCode == 4 && result.output == "half" && !result.errors.empty());
        });
    }
}

TEST(KtdbgCommand, WordsAreJoinedAndUnsendableOnesNeverConnect) {
    const Texts received = receivedWhile(replyWith("ok\0"s), [] {
        EXPECT_EQ(run("ktdbg -p " + std::to_string(kPort) + " debug -zfsRt 'a  b\r\n'").exitCode, 0);
        for (const std::string& line : {"ktdbg gwdemo " + std::string(257, 'x'), "ktdbg gwdemo ''"s,
                                        "printf 'et\\0x\\n' | ktdbg gwdemo"s}) {
            EXPECT_EQ(run(line).exitCode, 2) << line;
        }
    });
    EXPECT_EQ(received, Texts{"debug -zfsRt a  b"});
}

TEST(KtdbgInput, EachLineIsACommandAndTheFirstFailureCounts) {
    const auto answer = [](int connection, const std::string& command) {
        sendAll(connection, command == "bad"    ? "Command 'bad' executed, rc 2\n\0"s
                            : command == "mute" ? ""
                                                : "<" + command + ">\n" + '\0');
    };
    const Texts received = receivedWhile(answer, [] {
        const Result result =
            run("printf 'et\\r\\n\\n  \\nbad\\n%300s\\nmute\\nlast x\\nquit' long | ktdbg gwdemo");
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_EQ(result.output, "<et>\nCommand 'bad' executed, rc 2\n<last x>\n<quit>\n");
        EXPECT_EQ(run("printf 'mute\\nbad\\nlast line without end' | ktdbg gwdemo").exitCode, 5);
        EXPECT_EQ(run("printf '\\n\\n' | ktdbg gwdemo").exitCode, 0);
    });
    const Texts sent = {"et", "bad", "mute", "last x", "quit", "mute", "bad", "last line without end"};
    EXPECT_EQ(received, sent);
}

TEST(KtdbgOutput, WriteErrorsAreReported) {
    receivedWhile(replyWith("Process has been running\n\0"s), [] {
        // A closed standard output must not become the connection itself.
        for (const char* words : {"gwdemo et >/dev/full", "--help >/dev/full", "gwdemo et >&-"}) {
            EXPECT_EQ(run("ktdbg "s + words).exitCode, 6) << words;
        }
    });
}

TEST(KtdbgUsage, HelpIsDataAndBadOptionsAreTalk) {
    EXPECT_EQ(run("ktdbg --help").output.find("Usage: ktdbg"), 0u);
    for (const char* line : {"ktdbg", "ktdbg -x", "ktdbg -p 80x et", "ktdbg -t nan d"}) {
        const Result result = run(line);
        EXPECT_TRUE(result.exitCode == 2 && result.output.empty()) << line;
        EXPECT_NE(result.errors.find("Usage: ktdbg"), std::string::npos);
    }
}

}  // namespace
