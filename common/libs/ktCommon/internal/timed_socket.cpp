#include "internal/timed_socket.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

namespace kt {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// How long a tear-down can go unnoticed.
constexpr milliseconds kLookAround{200};
constexpr size_t kDiscardLimit = 65536;

// Waits in slices until the socket is ready. Readiness wins over a tear-down.
bool isReady(int socket, short events, Clock::time_point deadline, Abandoned abandoned) {
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
        const auto slice = std::clamp(left, milliseconds::zero(), kLookAround);
        struct pollfd waiting = {socket, events, 0};
        const int ready = poll(&waiting, 1, static_cast<int>(slice.count()));
        if (ready > 0) {
            return true;
        }
        const bool interrupted = ready < 0 && errno == EINTR;
        if ((ready < 0 && !interrupted) || left <= milliseconds::zero() || abandoned()) {
            return false;
        }
    }
}

}  // namespace

ssize_t receiveOnce(int socket, char* data, size_t size, milliseconds limit, Abandoned abandoned) {
    const auto deadline = Clock::now() + limit;
    while (isReady(socket, POLLIN, deadline, abandoned)) {
        const ssize_t received = recv(socket, data, size, MSG_DONTWAIT);
        if (received >= 0 || (errno != EINTR && errno != EAGAIN)) {
            return received;
        }
    }
    return -1;
}

bool sendAll(int socket, const char* data, size_t size, milliseconds limit, Abandoned abandoned) {
    const auto deadline = Clock::now() + limit;
    while (size > 0) {
        const ssize_t sent = send(socket, data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent >= 0) {
            data += sent;
            size -= static_cast<size_t>(sent);
            if (size > 0 && (Clock::now() >= deadline || abandoned())) {
                return false;
            }
        } else if (errno == EAGAIN) {
            if (!isReady(socket, POLLOUT, deadline, abandoned)) {
                return false;
            }
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

void discardReceived(int socket) {
    char scrap[1024];
    ssize_t received = 1;
    for (size_t total = 0; received > 0 && total < kDiscardLimit; total += static_cast<size_t>(received)) {
        received = recv(socket, scrap, sizeof scrap, MSG_DONTWAIT);
    }
}

}  // namespace kt
