#include "diag/split_timer.h"

#include <unistd.h>

#include <cstdarg>
#include <cstddef>
#include <cstdlib>

#include "diag/debug.h"
#include "internal/errno_guard.h"
#include "internal/heap_text.h"
#include "text/growable.h"
#include "time/timestamp.h"

static_assert(offsetof(DebugTimer, start) == sizeof(char*));
static_assert(offsetof(DebugTimer, start2) == sizeof(char*) + sizeof(struct timeval));
static_assert(offsetof(DebugTimer, indent) == sizeof(char*) + 2 * sizeof(struct timeval));
static_assert(offsetof(DebugTimer, splits) == offsetof(DebugTimer, indent) + sizeof(int));
static_assert(offsetof(DebugTimer, splits2) == offsetof(DebugTimer, indent) + 2 * sizeof(int));
static_assert(sizeof(void*) != 4 || sizeof(DebugTimer) == 32);

namespace {

constexpr int kDidNothing = -1;
constexpr int kSplitIndent = 2;

bool isTracing() {
    return (_debugGetMode() & DEBUG_GENERAL) != 0;
}

bool isRunning(const DebugTimer* timer) {
    return timer != nullptr && isTracing() && timer->name != nullptr;
}

// One line of the clock that runs from `start` and has written `splits` lines.
__attribute__((format(printf, 5, 0))) int writeSplit(int line, const DebugTimer& timer,
                                                     const struct timeval& start, int& splits,
                                                     const char* fmt, va_list ap) {
    const kt::ErrnoGuard errnoGuard;
    const kt::HeapText message(formatVAString(fmt, ap));
    if (message == nullptr) {
        return kDidNothing;
    }
    struct timeval now;
    gettimeofday(&now, nullptr);
    if (splits == 0) {
        __debug(line, "[%s] %s", timer.name, message.get());
    } else {
        __debug(line, "%*s[%s::%d::%dms] %s", timer.indent, "", timer.name, splits, timevalDiff(&start, &now),
                message.get());
    }
    ++splits;
    return 0;
}

// Ends a record's run even if the thread is cancelled while it writes the last line.
class Release {
  public:
    explicit Release(DebugTimer& timer) : timer_(timer) {}
    ~Release() {
        free(timer_.name);
        timer_.name = nullptr;
    }
    Release(const Release&) = delete;
    Release& operator=(const Release&) = delete;

  private:
    DebugTimer& timer_;
};

}  // namespace

DebugTimer* __debugStartTimer(int line, DebugTimer* timer, const char* fmt, ...) {
    const kt::ErrnoGuard errnoGuard;
    if (timer == nullptr) {
        return nullptr;
    }
    va_list ap;
    va_start(ap, fmt);
    kt::HeapText name;
    if (isTracing()) {
        name = fmt == nullptr ? kt::formatted("timer %04d", getpid()) : kt::HeapText(formatVAString(fmt, ap));
    }
    va_end(ap);
    if (name == nullptr) {
        timer->name = nullptr;
        return nullptr;
    }
    *timer = {name.release(), {}, {}, 0, 0, 0};
    gettimeofday(&timer->start, nullptr);
    timer->start2 = timer->start;
    __debugSplitTimer(line, timer, "[started]\n");
    timer->indent = kSplitIndent;
    return timer;
}

int __debugSplitTimer(int line, DebugTimer* timer, const char* fmt, ...) {
    if (!isRunning(timer)) {
        return kDidNothing;
    }
    va_list ap;
    va_start(ap, fmt);
    const int result = writeSplit(line, *timer, timer->start, timer->splits, fmt, ap);
    va_end(ap);
    return result;
}

int __debugSplitTimer2(int line, DebugTimer* timer, const char* fmt, ...) {
    if (!isRunning(timer)) {
        return kDidNothing;
    }
    va_list ap;
    va_start(ap, fmt);
    const int result = writeSplit(line, *timer, timer->start2, timer->splits2, fmt, ap);
    va_end(ap);
    return result;
}

int __debugResetTimer2(int, DebugTimer* timer) {
    if (timer != nullptr) {
        gettimeofday(&timer->start2, nullptr);
    }
    return 0;
}

int __debugStopTimer(int line, DebugTimer* timer, const char* fmt, ...) {
    if (!isRunning(timer)) {
        return kDidNothing;
    }
    const Release release(*timer);
    if (fmt != nullptr) {
        va_list ap;
        va_start(ap, fmt);
        timer->indent = 0;
        writeSplit(line, *timer, timer->start, timer->splits, fmt, ap);
        va_end(ap);
    }
    return 0;
}
