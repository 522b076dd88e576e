// One command on the debug port against one exchange with a server that does nothing else, both on the
// loopback interface.
#include <benchmark/benchmark.h>
#include <ktcommon.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <thread>

#include "sockets.h"

// Any free port, in place of the table's.
int socketGetDebugPortByName(const char*) {
    return 0;
}

namespace {

constexpr char kReply[] = "Process has been running for 0:00:00:00\n";

sockaddr_in addressOf(int listener) {
    sockaddr_in address = {};
    socklen_t length = sizeof address;
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    return address;
}

class BareServer {
  public:
    BareServer() : listener_(simpleBind(0)), thread_([this] { serve(); }) {}
    ~BareServer() {
        shutdown(listener_, SHUT_RDWR);
        thread_.join();
        close(listener_);
    }
    BareServer(const BareServer&) = delete;
    BareServer& operator=(const BareServer&) = delete;

    sockaddr_in address() const { return addressOf(listener_); }

  private:
    void serve() const {
        int client;
        while ((client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0) {
            char request[256];
            if (recv(client, request, sizeof request, 0) > 0) {
                send(client, kReply, sizeof kReply, MSG_NOSIGNAL);
            }
            close(client);
        }
    }

    int listener_;
    std::thread thread_;
};

class DebugPort {
  public:
    DebugPort() : thread_(debugCommand_t, nullptr) {
        while (listener() == 0) {
            std::this_thread::yield();
        }
    }
    ~DebugPort() {
        __atomic_store_n(&g_cleanExitRequest, 1, __ATOMIC_RELEASE);
        shutdown(listener(), SHUT_RDWR);
        thread_.join();
        __atomic_store_n(&g_hDebugServer, 0, __ATOMIC_RELEASE);
        __atomic_store_n(&g_cleanExitRequest, 0, __ATOMIC_RELEASE);
    }
    DebugPort(const DebugPort&) = delete;
    DebugPort& operator=(const DebugPort&) = delete;

    sockaddr_in address() const { return addressOf(listener()); }

  private:
    static int listener() { return __atomic_load_n(&g_hDebugServer, __ATOMIC_ACQUIRE); }

    std::thread thread_;
};

// Connects, sends the command, and reads up to the end of the connection.
bool exchange(const sockaddr_in& address) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    char reply[256] = "";
    size_t used = 0;
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        send(fd, "et", 2, MSG_NOSIGNAL) == 2) {
        ssize_t got;
        while ((got = recv(fd, reply + used, sizeof reply - used, 0)) > 0) {
            used += static_cast<size_t>(got);
        }
    }
    close(fd);
    return used == sizeof kReply && strncmp(reply, kReply, strcspn(kReply, "0")) == 0;
}

template <class Server>
void roundTrip(benchmark::State& state) {
    const Server server;
    const sockaddr_in address = server.address();
    for (auto _ : state) {
        if (!exchange(address)) {
            state.SkipWithError("no reply");
            break;
        }
    }
}

// Real time: half of the work is the server thread's.
BENCHMARK(roundTrip<DebugPort>)->Name("port/ours")->UseRealTime();
BENCHMARK(roundTrip<BareServer>)->Name("port/bare")->UseRealTime();

}  // namespace
