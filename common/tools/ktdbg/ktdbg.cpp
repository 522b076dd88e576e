// Maintenance client of a daemon's debug command port.
#include <fcntl.h>
#include <getopt.h>
#include <strings.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include "exchange.h"
#include "sockets.h"

#ifdef KTDBG_LIBEDIT
#include <editline/readline.h>
#endif

namespace ktdbg {
namespace {

constexpr int kMaxPort = 65535;
constexpr double kMaxSeconds = 1e6;  // in milliseconds still an int, as poll wants it

constexpr char kUsageLine[] =
    "Usage: ktdbg [-H host] [-t seconds] NAME [COMMAND...]\n"
    "       ktdbg [-H host] [-t seconds] -p port [COMMAND...]\n";

constexpr char kHelp[] = R"(
Sends a command to the debug port of a daemon and prints the reply.

  NAME           the daemon, by its process name
  -p port        the debug port, instead of NAME
  -H host        host name or address (default 127.0.0.1)
  -t seconds     time limit of one command, fractions allowed (default 5)
  -h, --help     show this text

Options come before NAME and COMMAND. The words of COMMAND are joined by single
blanks; at most 256 bytes. Without COMMAND the commands are read from standard
input, one per line, empty lines skipped. At a terminal "quit" leaves ktdbg; "exit"
goes to the daemon and ends it. "?" lists the daemon's commands.

Exit code; of several commands, that of the first one that failed:
  0  the daemon replied, or ended by "exit"
  1  the daemon refused the command or reported a non-zero code
  2  usage: bad option, or empty, too long or unreadable command
  3  no connection, connection lost, or no debug port known for NAME
  4  time limit passed
  5  the daemon closed the connection without a reply
  6  standard output cannot be written
)";

struct Options {
    Endpoint endpoint;
    std::string name;  // what the prompt shows
    bool help = false;
};

// On a closed standard descriptor the socket would land there, and replies or messages would be written to
// the daemon. /dev/null opened for reading takes the place and refuses writes.
void occupyStandardDescriptors() {
    int fd;
    do {
        fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    } while (fd >= 0 && fd <= STDERR_FILENO);
    if (fd >= 0) {
        close(fd);
    }
}

bool parsePort(std::string_view text, int& port) {
    const char* end = text.data() + text.size();
    const auto number = std::from_chars(text.data(), end, port);
    return number.ec == std::errc() && number.ptr == end && port > 0 && port <= kMaxPort;
}

bool parseLimit(const char* text, std::chrono::milliseconds& limit) {
    char* end = nullptr;
    const double seconds = std::strtod(text, &end);
    if (end == text || *end != '\0' || !(seconds > 0 && seconds <= kMaxSeconds)) {
        return false;
    }
    limit = std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
    return true;
}

bool parseOption(int option, Options& options) {
    switch (option) {
        case 'h':
            options.help = true;
            return true;
        case 'H':
            options.endpoint.host = optarg;
            return true;
        case 'p':
            return parsePort(optarg, options.endpoint.port);
        case 't':
            return parseLimit(optarg, options.endpoint.limit);
        default:
            return false;
    }
}

bool parseOptions(int argc, char** argv, Options& options) {
    static const option kLongOptions[] = {{"help", no_argument, nullptr, 'h'}, {nullptr, 0, nullptr, 0}};
    int found;
    // The plus sign stops at the first word that is no option: "debug -zf" keeps its own.
    while ((found = getopt_long(argc, argv, "+hH:p:t:", kLongOptions, nullptr)) != -1) {
        if (parseOption(found, options)) {
            continue;
        }
        if (found != '?') {
            std::fprintf(stderr, "ktdbg: bad value for -%c: %s\n", found, optarg);
        }
        return false;
    }
    return true;
}

// A well-formed name without a port counts as no connection: the same call may succeed on another unit.
bool findPort(Options& options) {
    options.endpoint.port = socketGetDebugPortByName(options.name.c_str());
    if (options.endpoint.port > 0 && options.endpoint.port <= kMaxPort) {
        return true;
    }
    std::fprintf(stderr, "ktdbg: no debug port known for %s\n", options.name.c_str());
    return false;
}

bool readPlain(std::string& line) {
    return static_cast<bool>(std::getline(std::cin, line));
}

#ifdef KTDBG_LIBEDIT
bool readFromTerminal(const std::string& prompt, std::string& line) {
    rl_outstream = stderr;
    const std::unique_ptr<char, decltype(&std::free)> text(readline(prompt.c_str()), std::free);
    if (text == nullptr) {
        return false;
    }
    line = text.get();
    add_history(text.get());
    return true;
}
#else
bool readFromTerminal(const std::string& prompt, std::string& line) {
    std::fputs(prompt.c_str(), stderr);
    return readPlain(line);
}
#endif

std::string_view withoutLineEnd(std::string_view line) {
    return line.substr(0, line.find_last_not_of("\r\n") + 1);
}

ExitCode runFromInput(const Options& options) {
    const bool terminal = isatty(STDIN_FILENO) != 0;
    const std::string prompt = options.name + "> ";
    ExitCode first = kReplied;
    std::string line;
    while (terminal ? readFromTerminal(prompt, line) : readPlain(line)) {
        const std::string command(withoutLineEnd(line));
        if (terminal && strcasecmp(command.c_str(), "quit") == 0) {
            return first;
        }
        if (command.find_first_not_of(" \t") == std::string::npos) {
            continue;
        }
        const ExitCode code = runCommand(options.endpoint, command);
        if (first == kReplied) {
            first = code;
        }
        if (code == kOutputFailed) {
            return first;
        }
    }
    if (std::ferror(stdin) != 0) {
        std::fprintf(stderr, "ktdbg: cannot read the commands: %s\n", std::strerror(errno));
        return first == kReplied ? kUsage : first;
    }
    if (terminal) {
        std::fputc('\n', stderr);
    }
    return first;
}

std::string joinWords(char** words) {
    std::string joined;
    for (char** word = words; *word != nullptr; ++word) {
        if (word != words) {
            joined += ' ';
        }
        joined += *word;
    }
    return joined;
}

ExitCode run(int argc, char** argv) {
    Options options;
    if (!parseOptions(argc, argv, options)) {
        std::fputs(kUsageLine, stderr);
        return kUsage;
    }
    if (options.help) {
        return writeOutput(kUsageLine) && writeOutput(kHelp) ? kReplied : kOutputFailed;
    }
    char** words = argv + optind;
    if (options.endpoint.port != 0) {
        options.name = options.endpoint.host + ':' + std::to_string(options.endpoint.port);
    } else if (*words == nullptr) {
        std::fputs(kUsageLine, stderr);
        return kUsage;
    } else {
        options.name = *words++;
        if (!findPort(options)) {
            return kNoConnection;
        }
    }
    if (*words == nullptr) {
        return runFromInput(options);
    }
    return runCommand(options.endpoint, withoutLineEnd(joinWords(words)));
}

}  // namespace
}  // namespace ktdbg

int main(int argc, char** argv) {
    ktdbg::occupyStandardDescriptors();
    return ktdbg::run(argc, argv);
}
