#include "sockets.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <optional>

#include "guards.h"
#include "layout.h"

using kt::siblings::closeDescriptor;
using kt::siblings::Descriptor;
using kt::siblings::HeapText;
using kt::siblings::kPorts;
using kt::siblings::lookUp;

namespace {

constexpr int kFirstHandle = 3;
constexpr int kMaxPort = 65535;
constexpr int kShortagePauseMs = 100;

static_assert(sizeof(sockaddr_in) <= SOCKET_PEER_RECORD_SIZE);
static_assert(sizeof(sockaddr_in6) <= SOCKET_PEER_RECORD_SIZE);

std::optional<int> parsePort(const HeapText& text) {
    if (!text) {
        return std::nullopt;
    }
    char* end = nullptr;
    const long port = strtol(text.get(), &end, 10);
    const bool wholeWord = *end == '\0' || *end == ' ' || *end == '\t';
    if (!wholeWord || port < 1 || port > kMaxPort) {
        return std::nullopt;
    }
    return static_cast<int>(port);
}

sockaddr_in loopbackAddress(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(port));
    return address;
}

Descriptor openStream() {
    return Descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

// The kernel hands out the lowest free number, which is 0 to 2 in a daemon without standard streams.
int releaseAsHandle(Descriptor socket) {
    if (!socket.valid() || socket.get() >= kFirstHandle) {
        return socket.release();
    }
    return fcntl(socket.get(), F_DUPFD_CLOEXEC, kFirstHandle);
}

bool bindAndListen(int socket, int port) {
    const int on = 1;
    const sockaddr_in address = loopbackAddress(port);
    return setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
           bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
           listen(socket, SOMAXCONN) == 0;
}

int acceptClient(int handle, void* record) {
    socklen_t length = SOCKET_PEER_RECORD_SIZE;
    auto* address = static_cast<sockaddr*>(record);
    return releaseAsHandle(Descriptor(accept4(handle, address, address ? &length : nullptr, SOCK_CLOEXEC)));
}

// False once the handle is closed or shut down.
bool isListening(int handle) {
    int listening = 0;
    socklen_t length = sizeof listening;
    return getsockopt(handle, SOL_SOCKET, SO_ACCEPTCONN, &listening, &length) == 0 && listening != 0;
}

bool isShortage(int error) {
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

// Errors of one client, which accept reports although the listening socket is well.
bool isLostClient(int error) {
    switch (error) {
        case EINTR:
        case ECONNABORTED:
        case EPROTO:
        case EPERM:
        case ENETDOWN:
        case ENOPROTOOPT:
        case EHOSTDOWN:
        case ENONET:
        case EHOSTUNREACH:
        case EOPNOTSUPP:
        case ENETUNREACH:
            return true;
        default:
            return false;
    }
}

// Without descriptors accept fails before it looks at the socket, so it would not report a shutdown: the
// poll, which asks for no event, is woken by the hang-up alone.
void waitOutShortage(int handle) {
    pollfd hangUp{handle, 0, 0};
    poll(&hangUp, 1, kShortagePauseMs);
}

// An interrupted connect goes on in the kernel, and its outcome is told by SO_ERROR.
bool finishConnect(int socket) {
    pollfd connected{socket, POLLOUT, 0};
    while (poll(&connected, 1, -1) < 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    int error = 0;
    socklen_t length = sizeof error;
    if (getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &length) < 0) {
        return false;
    }
    errno = error;
    return error == 0;
}

bool connectTo(int socket, int port) {
    const sockaddr_in address = loopbackAddress(port);
    if (connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        return true;
    }
    return errno == EINTR && finishConnect(socket);
}

// Closing a socket with unread bytes resets the connection. Sending the end first lets the peer read the
// reply to an orderly end all the same.
int closeConnection(int socket) {
    shutdown(socket, SHUT_WR);
    return closeDescriptor(socket);
}

}  // namespace

int socketGetDebugPortByName(const char* name) {
    return parsePort(lookUp(kPorts, 0, name)).value_or(-1);
}

int simpleBind(int port) {
    if (port < 0 || port > kMaxPort) {
        errno = EINVAL;
        return -1;
    }
    Descriptor socket = openStream();
    if (!socket.valid() || !bindAndListen(socket.get(), port)) {
        return -1;
    }
    return releaseAsHandle(std::move(socket));
}

int simpleListener(int handle, void* record) {
    for (;;) {
        const int client = acceptClient(handle, record);
        if (client >= 0) {
            return client;
        }
        const int error = errno;
        if (isShortage(error)) {
            waitOutShortage(handle);
        } else if (!isLostClient(error)) {
            return -1;
        }
        if (!isListening(handle)) {
            return -1;
        }
    }
}

int xmlClose(int socket) {
    return closeConnection(socket);
}

int socketOpenWriter(int to, int, int, ...) {
    const std::optional<int> port = parsePort(lookUp(kPorts, 0, to));
    if (!port) {
        errno = ECONNREFUSED;
        return -1;
    }
    Descriptor socket = openStream();
    if (!socket.valid() || !connectTo(socket.get(), *port)) {
        return -1;
    }
    return releaseAsHandle(std::move(socket));
}

int socketCloseWriter(int socket) {
    return closeConnection(socket);
}
