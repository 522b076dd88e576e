#include "internal/service.h"

#include <sys/socket.h>

#include "internal/uncancelled.h"
#include "internal/uninterrupted.h"
#include "sockets.h"

namespace kt {

Service::Service(int component) : socket_(socketOpenWriter(component, component, 0, 0)) {}

Service::~Service() {
    if (*this) {
        const Uncancelled uncancelled;
        socketCloseWriter(socket_);
    }
}

void Service::send(const char* data, size_t size) const {
    while (size > 0) {
        const ssize_t sent = uninterrupted([=] { return ::send(socket_, data, size, MSG_NOSIGNAL); });
        if (sent < 0) {
            return;
        }
        data += sent;
        size -= static_cast<size_t>(sent);
    }
}

ssize_t Service::receive(char* data, size_t size) const {
    return uninterrupted([=] { return recv(socket_, data, size, 0); });
}

}  // namespace kt
