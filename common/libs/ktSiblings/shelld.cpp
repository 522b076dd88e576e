// The command daemon, component 365: runs command lines for others, one at a time.
//
// A connection brings one command line with a terminating NUL, in any number of pieces, and is answered with
// the command's exit code in decimal: 0 after death by a signal, 127 when there was no shell to run it. One
// that brings none in time, or a longer one than a shell takes, is closed without an answer. SIGTERM ends the
// daemon.
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "sockets.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kComponent = "365";
constexpr std::chrono::seconds kPatience(2);
constexpr size_t kLongestCommand = 131072;  // the kernel's bound of one argument

int millisecondsUntil(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    return static_cast<int>(std::max<long long>(left.count(), 0));
}

// What has arrived, at most `size` bytes; 0 or less when nothing comes any more.
ssize_t receive(int client, char* data, size_t size, Clock::time_point deadline) {
    for (;;) {
        pollfd arrival{client, POLLIN, 0};
        const int ready = poll(&arrival, 1, millisecondsUntil(deadline));
        const ssize_t got = ready > 0 ? recv(client, data, size, MSG_DONTWAIT) : ready;
        if (got >= 0 || (errno != EINTR && errno != EAGAIN)) {
            return got;
        }
    }
}

// False without a whole line.
bool receiveCommand(int client, std::string& command) {
    const Clock::time_point deadline = Clock::now() + kPatience;
    while (command.size() < kLongestCommand) {
        char piece[4096];
        const ssize_t got = receive(client, piece, sizeof piece, deadline);
        if (got <= 0) {
            return false;
        }
        const size_t length = strnlen(piece, static_cast<size_t>(got));
        command.append(piece, length);
        if (length < static_cast<size_t>(got)) {
            return command.size() < kLongestCommand;
        }
    }
    return false;
}

void serve(int client) {
    std::string command;
    if (!receiveCommand(client, command)) {
        return;
    }
    const std::string reply = std::to_string(system(command.c_str()) >> 8);
    send(client, reply.data(), reply.size(), MSG_NOSIGNAL);
}

int fail(const char* what) {
    perror(what);
    return EXIT_FAILURE;
}

}  // namespace

int main() {
    // Whoever started it may have had them otherwise; without the latter no command has an exit code.
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGTERM, SIG_DFL);
    signal(SIGCHLD, SIG_DFL);
    const int listener = simpleBind(socketGetDebugPortByName(kComponent));
    if (listener < 0) {
        return fail("shelld: cannot listen");
    }
    for (;;) {
        const int client = simpleListener(listener, nullptr);
        if (client < 0) {
            return fail("shelld: no more clients");
        }
        serve(client);
        xmlClose(client);
    }
}
