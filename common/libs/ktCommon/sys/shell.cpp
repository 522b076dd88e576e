#include "sys/shell.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "diag/debug.h"
#include "internal/component_ids.h"
#include "internal/error_text.h"
#include "internal/heap_text.h"
#include "internal/mutex_lock.h"
#include "internal/service.h"
#include "logging.h"
#include "text/convert.h"
#include "text/growable.h"

pthread_mutex_t mutexSystemEx = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t mutexTsSystemEx = PTHREAD_MUTEX_INITIALIZER;

namespace {

constexpr int kNoResult = -1;
constexpr size_t kReplySize = 80;
constexpr size_t kErrorTextSize = 128;

int receiveResult(const kt::Service& commands) {
    char reply[kReplySize + 1];
    const ssize_t received = commands.receive(reply, kReplySize);
    if (received <= 0) {
        return kNoResult;
    }
    reply[received] = '\0';
    return atoi_s(reply, -2);
}

int exchange(const kt::Service& commands, const char* command) {
    if (command == nullptr) {
        return kNoResult;
    }
    commands.send(command, strlen(command) + 1);
    return receiveResult(commands);
}

int reportNoConnection(int error) {
    const kt::ErrorText<kErrorTextSize> cause(error);
    logError(kt::component::kCommands, "Couldn't connect to host: %s", cause.get());
    __debug(__LINE__, "tsSystemEx, can't connect to host: %s\n", cause.get());
    return kNoResult;
}

KT_PRINTF(1, 0) int runHere(const char* format, va_list ap) {
    const kt::MutexLock lock(mutexSystemEx);
    const kt::HeapText command(formatVAString(format, ap));
    // Without a command system would only tell whether there is a shell.
    const int status = command == nullptr ? kNoResult : system(command.get());
    const int result = status >> 8;
    __debug(__LINE__, "systemEx: %d.%d.[%s]\n", status, result, kt::textOf(command));
    return result;
}

KT_PRINTF(1, 0) int runByDaemon(const char* format, va_list ap) {
    const kt::MutexLock lock(mutexTsSystemEx);
    kt::HeapText command;
    int result;
    {
        const kt::Service commands(kt::component::kCommands);
        if (!commands) {
            return reportNoConnection(errno);
        }
        command.reset(formatVAString(format, ap));
        result = exchange(commands, command.get());
    }
    __debug(__LINE__, "tsSystemEx: %d.[%s]\n", result, kt::textOf(command));
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
