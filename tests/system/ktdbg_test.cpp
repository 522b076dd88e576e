// Runs the real ktdbg binary against small TCP servers of this process.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/forked_child.h"

namespace {

using namespace std::string_literals;
using Words = std::vector<std::string>;

bool sendAll(int connection, const std::string& text) {
    return send(connection, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
}

// Like a daemon: one receive per connection, then `answer`, then close. The kernel chooses its port.
class Server {
  public:
    using Answer = std::function<void(int connection, const std::string& command)>;

    explicit Server(Answer answer) : answer_(std::move(answer)) {
        listen(listener_, 5);
        thread_ = std::thread([this] { serve(); });
    }
    ~Server() { stop(); }

    const Words& stop() {
        if (thread_.joinable()) {
            shutdown(listener_, SHUT_RDWR);
            thread_.join();
            close(listener_);
        }
        return received_;
    }
    std::string port() const {
        sockaddr_in address = {};
        socklen_t size = sizeof address;
        EXPECT_EQ(getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size), 0);
        return std::to_string(ntohs(address.sin_port));
    }

  private:
    void serve() {
        int connection;
        while ((connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0) {
            char buffer[257];
            const ssize_t size = recv(connection, buffer, sizeof buffer, 0);
            received_.emplace_back(buffer, size > 0 ? static_cast<std::size_t>(size) : 0);
            answer_(connection, received_.back());
            close(connection);
        }
    }

    Answer answer_;
    const int listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    Words received_;
    std::thread thread_;
};

Server::Answer replyWith(const std::string& text) {
    return [text](int connection, const std::string&) { sendAll(connection, text); };
}

struct Result {
    int exitCode = -1;
    std::string output;
    std::string errors;
};

std::string readAll(std::FILE* file) {
    std::string text(static_cast<std::size_t>(lseek(fileno(file), 0, SEEK_END)), '\0');
    EXPECT_EQ(pread(fileno(file), text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    std::fclose(file);
    return text;
}

int spawnAndWait(const Words& options, int input, int output, int errors) {
    std::istringstream prefix(KT_RUN_PREFIX " " KTDBG_PATH);
    Words words{std::istream_iterator<std::string>(prefix), {}};
    words.insert(words.end(), options.begin(), options.end());
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    return kt::test::inChild([&] {
        dup2(input, STDIN_FILENO);
        output < 0 ? close(STDOUT_FILENO) : dup2(output, STDOUT_FILENO);
        dup2(errors, STDERR_FILENO);
        return execvp(arguments[0], arguments.data());
    });
}

Result run(const Words& options, const std::string& input = "") {
    std::FILE* file = std::tmpfile();
    std::fwrite(input.data(), 1, input.size(), file);
    std::rewind(file);
    std::FILE* output = std::tmpfile();
    std::FILE* errors = std::tmpfile();
    Result result;
    result.exitCode = spawnAndWait(options, fileno(file), fileno(output), fileno(errors));
    std::fclose(file);
    result.output = readAll(output);
    result.errors = readAll(errors);
    return result;
}

TEST(KtdbgReply, DecidesTheExitCodeAndIsPrintedUpToItsNul) {
    const std::string longest(256, 'c');
    const struct {
        std::string command, reply;
        int exitCode;
    } cases[] = {
        {"et", "Process has been running for 3s\n\0"s, 0},
        {"et", "\x01\xff%s%n\r\x1b[2J\0behind\0more"s, 0},
        {"et", "\0"s, 0},
        {"rpc cat  x", std::string(1000000, 'x') + '\0', 0},
        {"nix a", "Command 'nix' not defined. Use '?' for Help\n\0"s, 1},
        {"go", "Command 'go' executed, rc 5\n\0"s, 1},
        {"go", "Command 'go' executed, rc -1\n\0"s, 1},
        {"go", "Command 'go' executed, rc 0\n\0"s, 0},
        {"rpc", "No command specified\n\0"s, 1},
        {"tag", "Must specify tag to read by name\n\0"s, 1},
        {"log", "seen: Command 'log' executed, rc 5\nNo command specified\n\0"s, 0},
        {longest, "Command '" + longest + "' not defined. Use '?' for Help\n\0"s, 1},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.command.substr(0, 10) + ": " + one.reply.substr(0, 60));
        Server server(replyWith(one.reply));
        const Result result = run({"-p", server.port(), one.command});
        EXPECT_EQ(result.exitCode, one.exitCode) << result.errors;
        EXPECT_TRUE(result.output == one.reply.substr(0, one.reply.find('\0')))
            << result.output.substr(0, 200);
        EXPECT_EQ(result.errors, "");
    }
}

TEST(KtdbgReply, MissingIsSuccessOnlyForExit) {
    for (const bool reset : {false, true}) {
        Server server([reset](int connection, const std::string&) {
            if (reset) {
                const linger immediate{1, 0};
                setsockopt(connection, SOL_SOCKET, SO_LINGER, &immediate, sizeof immediate);
            }
        });
        EXPECT_EQ(run({"-p", server.port(), "et"}).exitCode, 5) << reset;
        EXPECT_EQ(run({"-p", server.port(), "ExIt"}).exitCode, 0) << reset;
        EXPECT_EQ(run({"-p", server.port(), "exit", "now"}).exitCode, 0) << reset;
        EXPECT_EQ(run({"-p", server.port(), "exits"}).exitCode, 5) << reset;
    }
}

TEST(KtdbgReply, TimeLimitHoldsForSilentAndForEndlessDaemons) {
    for (const bool endless : {false, true}) {
        Server server([endless](int connection, const std::string&) {
            char text[99];
            sendAll(connection, "half");
            while (endless && sendAll(connection, std::string(65536, '\0'))) {}
            while (recv(connection, text, sizeof text, 0) > 0) {}
        });
        const Result result = run({"-t", "0.3", "-p", server.port(), "exit"});
        EXPECT_EQ(result.exitCode, 4) << endless;
        EXPECT_EQ(result.output, "half");
        EXPECT_NE(result.errors, "");
    }
}

TEST(KtdbgCommand, WordsAreJoinedAndUnsendableOnesNeverConnect) {
    Server server(replyWith("ok\0"s));
    run({"-p", server.port(), "debug", "-zfsRt", "a  b\r\n"});
    EXPECT_EQ(run({"-p", server.port(), std::string(257, 'x')}).exitCode, 2);
    EXPECT_EQ(run({"-p", server.port(), ""}).exitCode, 2);
    EXPECT_EQ(run({"-p", server.port()}, "et\0x\n"s).exitCode, 2);
    EXPECT_EQ(server.stop(), Words{"debug -zfsRt a  b"});
}

TEST(KtdbgInput, EachLineIsACommandAndTheFirstFailureCounts) {
    Server server([](int connection, const std::string& command) {
        if (command == "bad") {
            sendAll(connection, "Command 'bad' executed, rc 2\n\0"s);
        } else if (command != "mute") {
            sendAll(connection, "<" + command + ">\n" + '\0');
        }
    });
    const std::string tooLong(300, 'x');
    const Result result = run({"-p", server.port()}, "et\r\n\n  \nbad\n" + tooLong + "\nmute\nlast x\nquit");
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "<et>\nCommand 'bad' executed, rc 2\n<last x>\n<quit>\n");
    EXPECT_EQ(run({"-p", server.port()}, "mute\nbad\nlast line without end").exitCode, 5);
    EXPECT_EQ(run({"-p", server.port()}, "\n\n").exitCode, 0);
    EXPECT_EQ(server.stop(),
              (Words{"et", "bad", "mute", "last x", "quit", "mute", "bad", "last line without end"}));
}

TEST(KtdbgOutput, WriteErrorsAreReported) {
    Server server(replyWith("Process has been running\n\0"s));
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    ASSERT_TRUE(full >= 0 && null >= 0);
    EXPECT_EQ(spawnAndWait({"-p", server.port(), "et"}, null, full, null), 6);
    EXPECT_EQ(spawnAndWait({"--help"}, null, full, null), 6);
    // A closed standard output must not become the connection itself.
    EXPECT_EQ(spawnAndWait({"-p", server.port(), "et"}, null, -1, null), 6);
}

TEST(KtdbgUsage, HelpIsDataAndBadOptionsAreTalk) {
    EXPECT_EQ(run({"--help"}).output.find("Usage: ktdbg"), 0u);
    for (const Words& options : {Words{}, Words{"-x"}, Words{"-p", "80x", "et"}, Words{"-t", "nan", "d"}}) {
        const Result result = run(options);
        EXPECT_EQ(result.exitCode, 2) << (options.empty() ? "" : options.back());
        EXPECT_EQ(result.output, "");
        EXPECT_NE(result.errors.find("Usage: ktdbg"), std::string::npos);
    }
}

}  // namespace
