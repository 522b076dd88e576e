// The command daemon, component 365: runs command lines for others, one at a time.
//
// A connection brings one command line with a terminating NUL, in any number of pieces, and is answered with
// the command's exit code in decimal: 0 after death by a signal, 127 when there was no shell to run it. One
// that brings none in time, or a longer one than a shell takes, is closed without an answer. SIGTERM ends the
// daemon.
#include <sys/socket.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "daemon.h"

namespace {

using namespace kt::siblings;

constexpr size_t kLongestCommand = 131072;  // the kernel's bound of one argument

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

}  // namespace

int main() {
    return serveClients("365", serve);
}
