#include "daemon.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "sockets.h"

namespace kt::siblings {
namespace {

int millisecondsUntil(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    return static_cast<int>(std::max<long long>(left.count(), 0));
}

// Whoever started the daemon may have had them otherwise; without the latter no command has an exit code.
void resetSignals() {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGTERM, SIG_DFL);
    signal(SIGCHLD, SIG_DFL);
}

int fail(const char* what) {
    perror(what);
    return EXIT_FAILURE;
}

}  // namespace

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

int serveClients(const char* component, void (*serve)(int client)) {
    resetSignals();
    const int listener = simpleBind(socketGetDebugPortByName(component));
    if (listener < 0) {
        return fail("cannot listen");
    }
    for (;;) {
        const int client = simpleListener(listener, nullptr);
        if (client < 0) {
            return fail("no more clients");
        }
        serve(client);
        xmlClose(client);
    }
}

}  // namespace kt::siblings
