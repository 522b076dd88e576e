#include "exchange.h"

#include <netdb.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

namespace ktdbg {
namespace {

// Longer than any refusal that quotes a command of the largest size.
constexpr std::size_t kRefusalBytes = 512;

class Socket {
  public:
    explicit Socket(int fd = -1) : fd_(fd) {}
    Socket(Socket&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    ~Socket() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    int fd() const { return fd_; }

  private:
    int fd_;
};

using Deadline = std::chrono::steady_clock::time_point;

int millisecondsLeft(Deadline deadline) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::max<long long>(left.count(), 0));
}

// False with errno set, ETIMEDOUT once the deadline has passed.
bool waitFor(int fd, short events, Deadline deadline) {
    for (;;) {
        // Looked at before poll: a peer that never stops sending would keep poll from ever timing out.
        const int left = millisecondsLeft(deadline);
        if (left == 0) {
            errno = ETIMEDOUT;
            return false;
        }
        pollfd waiting{fd, events, 0};
        const int ready = poll(&waiting, 1, left);
        if (ready > 0) {
            return true;
        }
        if (ready < 0 && errno != EINTR) {
            return false;
        }
    }
}

bool connectTo(int fd, const addrinfo& address, Deadline deadline) {
    if (connect(fd, address.ai_addr, address.ai_addrlen) == 0) {
        return true;
    }
    // An interrupted connect goes on in the background, just like one that would block.
    if ((errno != EINPROGRESS && errno != EINTR) || !waitFor(fd, POLLOUT, deadline)) {
        return false;
    }
    int error = 0;
    socklen_t size = sizeof error;
    getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size);
    errno = error;
    return error == 0;
}

// Tries every address in turn; none connected gives a negative descriptor and the last errno.
Socket connectToAny(const addrinfo* addresses, Deadline deadline) {
    int error = EADDRNOTAVAIL;
    for (const addrinfo* address = addresses; address != nullptr; address = address->ai_next) {
        Socket connection(socket(address->ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        if (connection.fd() >= 0 && connectTo(connection.fd(), *address, deadline)) {
            return connection;
        }
        error = errno;
    }
    errno = error;
    return Socket();
}

// A new connection's send buffer is empty, so a command goes out whole or not at all.
bool sendCommand(int fd, std::string_view command) {
    ssize_t sent;
    do {
        sent = send(fd, command.data(), command.size(), MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent == static_cast<ssize_t>(command.size());
}

struct Reply {
    bool started = false;     // any byte came
    bool terminated = false;  // its NUL came
    std::string beginning;    // at most kRefusalBytes: the rest is only passed on, whatever its size
};

bool printPiece(Reply& reply, std::string_view piece) {
    reply.started = true;
    if (reply.terminated) {
        return true;
    }
    const std::size_t end = piece.find('\0');
    reply.terminated = end != std::string_view::npos;
    const std::string_view text = piece.substr(0, end);
    reply.beginning.append(text.substr(0, kRefusalBytes - reply.beginning.size()));
    return writeOutput(text);
}

// Only whole replies count: a command's own output may well contain such a line.
bool isRefusal(const std::string& word, std::string_view reply) {
    if (reply == "No command specified\n" || reply == "Must specify tag to read by name\n") {
        return true;
    }
    const std::string quoted = "Command '" + word + "' ";
    const std::string executed = quoted + "executed, rc ";
    if (reply.substr(0, executed.size()) == executed) {
        return reply.substr(executed.size()) != "0\n";
    }
    return reply == quoted + "not defined. Use '?' for Help\n";
}

// `error` is 0 for an orderly close. A reset after the NUL loses nothing.
ExitCode judge(const std::string& word, const Reply& reply, int error) {
    if (!reply.started && strcasecmp(word.c_str(), "exit") == 0) {
        return kReplied;
    }
    if (!reply.started) {
        std::fprintf(stderr, "ktdbg: connection closed without a reply\n");
        return kNoReply;
    }
    if (error != 0 && !reply.terminated) {
        std::fprintf(stderr, "ktdbg: connection lost in the reply: %s\n", std::strerror(error));
        return kNoConnection;
    }
    return isRefusal(word, reply.beginning) ? kRefused : kReplied;
}

ExitCode printReply(int fd, const std::string& word, Deadline deadline) {
    Reply reply;
    char buffer[4096];
    for (;;) {
        if (!waitFor(fd, POLLIN, deadline)) {
            const int error = errno;
            std::fprintf(stderr, "ktdbg: waiting for the reply: %s\n", std::strerror(error));
            return error == ETIMEDOUT ? kTimedOut : kNoConnection;
        }
        const ssize_t received = recv(fd, buffer, sizeof buffer, 0);
        if (received < 0 && (errno == EINTR || errno == EAGAIN)) {
            continue;
        }
        if (received <= 0) {
            return judge(word, reply, received < 0 ? errno : 0);
        }
        if (!printPiece(reply, {buffer, static_cast<std::size_t>(received)})) {
            return kOutputFailed;
        }
    }
}

ExitCode exchange(int fd, std::string_view command, Deadline deadline) {
    if (!sendCommand(fd, command)) {
        std::fprintf(stderr, "ktdbg: cannot send the command: %s\n", std::strerror(errno));
        return kNoReply;
    }
    // The daemon, too, takes the text before the first blank as the command word.
    return printReply(fd, std::string(command.substr(0, command.find(' '))), deadline);
}

bool isSendable(std::string_view command) {
    const char* fault = nullptr;
    if (command.empty()) {
        fault = "empty command";
    } else if (command.size() > kMaxCommandBytes) {
        fault = "command longer than 256 bytes";
    } else if (command.find('\0') != std::string_view::npos) {
        fault = "command with a NUL byte, where the daemon would cut it";
    }
    if (fault != nullptr) {
        std::fprintf(stderr, "ktdbg: %s\n", fault);
    }
    return fault == nullptr;
}

}  // namespace

bool writeOutput(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            std::fprintf(stderr, "ktdbg: cannot write the output: %s\n", std::strerror(errno));
            return false;
        }
    }
    return true;
}

ExitCode runCommand(const Endpoint& endpoint, std::string_view command) {
    if (!isSendable(command)) {
        return kUsage;
    }
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const int fault =
        getaddrinfo(endpoint.host.c_str(), std::to_string(endpoint.port).c_str(), &hints, &found);
    if (fault != 0) {
        std::fprintf(stderr, "ktdbg: %s: %s\n", endpoint.host.c_str(), gai_strerror(fault));
        return kNoConnection;
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, freeaddrinfo);
    const Deadline deadline = std::chrono::steady_clock::now() + endpoint.limit;
    const Socket connection = connectToAny(addresses.get(), deadline);
    if (connection.fd() < 0) {
        const int error = errno;
        std::fprintf(stderr, "ktdbg: %s port %d: %s\n", endpoint.host.c_str(), endpoint.port,
                     std::strerror(error));
        return error == ETIMEDOUT ? kTimedOut : kNoConnection;
    }
    return exchange(connection.fd(), command, deadline);
}

}  // namespace ktdbg
