#include "internal/service.h"

#include <sys/socket.h>

#include <cerrno>

#include "internal/uncancelled.h"
#include "sockets.h"

namespace kt {

Service::Service(int component) : socket_(socketOpenWriter(component, component, 0)) {}

Service::~Service() {
    if (*this) {
        const Uncancelled uncancelled;
        socketCloseWriter(socket_);
    }
}

void Service::send(const char* data, size_t size) const {
    while (size > 0) {
        const ssize_t sent = ::send(socket_, data, size, MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR) {
            return;
        }
        const size_t taken = sent < 0 ? 0 : static_cast<size_t>(sent);
        data += taken;
        size -= taken;
    }
}

ssize_t Service::receive(char* data, size_t size) const {
    ssize_t received;
    do {
        received = recv(socket_, data, size, 0);
    } while (received < 0 && errno == EINTR);
    return received;
}

}  // namespace kt
