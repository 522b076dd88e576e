// One exchange with a daemon's debug port: connect, send the command, print the reply.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

namespace ktdbg {

// Values are the exit codes of the program; --help tells them to the user.
enum ExitCode : int {
    kReplied = 0,
    kRefused = 1,
    kUsage = 2,
    kNoConnection = 3,
    kTimedOut = 4,
    kNoReply = 5,
    kOutputFailed = 6,
};

// The daemon receives once, into a buffer of this size, and would silently cut anything longer.
constexpr std::size_t kMaxCommandBytes = 256;

struct Endpoint {
    std::string host = "127.0.0.1";
    int port = 0;
    std::chrono::milliseconds limit{5000};  // from the start of the connect to the daemon's close
};

// Writes all of `text` to standard output. False, with the reason on standard error, when that fails.
bool writeOutput(std::string_view text);

// Runs one command: the reply goes to standard output, complaints to standard error. Blocks for at most
// `endpoint.limit`, apart from looking up a host name and from a standard output that does not accept data.
ExitCode runCommand(const Endpoint& endpoint, std::string_view command);

}  // namespace ktdbg
