#include "sys/shell.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "diag/debug.h"
#include "internal/component_ids.h"
#include "internal/error_text.h"
#include "internal/heap_text.h"
#include "internal/mutex_lock.h"
#include "internal/uncancelled.h"
#include "logging.h"
#include "sockets.h"
#include "text/convert.h"
#include "text/growable.h"

pthread_mutex_t mutexSystemEx = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t mutexTsSystemEx = PTHREAD_MUTEX_INITIALIZER;

namespace {

constexpr int kNoResult = -1;
constexpr size_t kReplySize = 80;
constexpr size_t kErrorTextSize = 128;

class Connection {
  public:
    Connection() : socket_(socketOpenWriter(kt::component::kCommands, kt::component::kCommands, 0)) {}
    ~Connection() {
        if (*this) {
            const kt::Uncancelled uncancelled;
            socketCloseWriter(socket_);
        }
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    explicit operator bool() const { return socket_ >= 1; }
    int get() const { return socket_; }

  private:
    int socket_;
};

// Only a signal makes it more than one call. A service that closes early has answered, perhaps: whatever
// becomes of the sending, the reply is looked for.
void sendWhole(int socket, const char* data, size_t size) {
    while (size > 0) {
        const ssize_t sent = send(socket, data, size, MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR) {
            return;
        }
        const size_t taken = sent < 0 ? 0 : static_cast<size_t>(sent);
        data += taken;
        size -= taken;
    }
}

int receiveResult(int socket) {
    char reply[kReplySize + 1];
    ssize_t received;
    do {
        received = recv(socket, reply, kReplySize, 0);
    } while (received < 0 && errno == EINTR);
    if (received <= 0) {
        return kNoResult;
    }
    reply[received] = '\0';
    return atoi_s(reply, -2);
}

int exchange(const Connection& service, const char* command) {
    if (command == nullptr) {
        return kNoResult;
    }
    sendWhole(service.get(), command, strlen(command) + 1);
    return receiveResult(service.get());
}

int reportNoConnection(int error) {
    const kt::ErrorText<kErrorTextSize> cause(error);
    logError(kt::component::kCommands, "Couldn't connect to host: %s", cause.get());
    __debug(__LINE__, "tsSystemEx, can't connect to host: %s\n", cause.get());
    return kNoResult;
}

const char* shown(const kt::HeapText& command) {
    return command == nullptr ? "" : command.get();
}

KT_PRINTF(1, 0) int runHere(const char* format, va_list ap) {
    const kt::MutexLock lock(mutexSystemEx);
    const kt::HeapText command(formatVAString(format, ap));
    // Without a command system would only tell whether there is a shell.
    const int status = command == nullptr ? kNoResult : system(command.get());
    const int result = status >> 8;
    __debug(__LINE__, "systemEx: %d.%d.[%s]\n", status, result, shown(command));
    return result;
}

KT_PRINTF(1, 0) int runByDaemon(const char* format, va_list ap) {
    const kt::MutexLock lock(mutexTsSystemEx);
    kt::HeapText command;
    int result;
    {
        const Connection service;
        if (!service) {
            return reportNoConnection(errno);
        }
        command.reset(formatVAString(format, ap));
        result = exchange(service, command.get());
    }
    __debug(__LINE__, "tsSystemEx: %d.[%s]\n", result, shown(command));
    return result;
}

}  // namespace

int systemEx(const char* format, ...) {
    va_list ap;
    va_start(ap, format);
    const int result = runHere(format, ap);
    va_end(ap);
    return result;
}

int systemExec(const char* format, ...) {
    va_list ap;
    va_start(ap, format);
    const int result = runHere(format, ap);
    va_end(ap);
    return result;
}

int tsSystemEx(const char* format, ...) {
    va_list ap;
    va_start(ap, format);
    const int result = runByDaemon(format, ap);
    va_end(ap);
    return result;
}
