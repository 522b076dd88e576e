#include "sync/sleep.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <limits>

#include "internal/debug_assertion.h"
#include "internal/mutex_lock.h"

namespace {

constexpr unsigned kMicrosecondsPerSecond = 1000000;
constexpr unsigned kNanosecondsPerSecond = 1000000000;

// Not beyond the last second of time_t: the board's would wrap, and a wait for a time in the past does not
// wait.
time_t secondsLater(time_t start, uint64_t seconds) {
    time_t end;
    return __builtin_add_overflow(start, seconds, &end) ? std::numeric_limits<time_t>::max() : end;
}

struct timeval timeOfDay() {
    struct timeval now;
    gettimeofday(&now, nullptr);
    return now;
}

// A condition that nobody signals.
class PrivateCondition {
  public:
    PrivateCondition() = default;
    ~PrivateCondition() {
        pthread_cond_destroy(&condition_);
        pthread_mutex_destroy(&mutex_);
    }
    PrivateCondition(const PrivateCondition&) = delete;
    PrivateCondition& operator=(const PrivateCondition&) = delete;

    // Never 0: that is a spurious wake-up.
    int waitUntil(const struct timespec& deadline) {
        const kt::MutexLock lock(mutex_);
        int result = 0;
        while (result == 0) {
            result = pthread_cond_timedwait(&condition_, &mutex_, &deadline);
        }
        return result;
    }

  private:
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition_ = PTHREAD_COND_INITIALIZER;
};

int deadlineAfter(clockid_t clockId, struct timespec* deadline, int milliseconds) {
    if (static_cast<unsigned>(clockId) > CLOCK_MONOTONIC) {
        return EINVAL;
    }
    struct timespec now;
    const int result = clock_gettime(clockId, &now);
    if (result != 0) {
        return result;
    }
    const auto delay = static_cast<uint32_t>(std::max(milliseconds, 0));
    const uint32_t nanoseconds = static_cast<uint32_t>(now.tv_nsec) + delay % 1000 * 1000000;
    deadline->tv_sec = secondsLater(now.tv_sec, delay / 1000 + nanoseconds / kNanosecondsPerSecond);
    deadline->tv_nsec = static_cast<long>(nanoseconds % kNanosecondsPerSecond);
    return 0;
}

}  // namespace

int sleep_s(unsigned int seconds) {
    const struct timespec duration = {secondsLater(0, seconds), 0};
    return nanosleep(&duration, nullptr);
}

int tsleep_s(unsigned int seconds) {
    struct timespec deadline;
    timeCalcAbs(&deadline, nullptr, seconds);
    return PrivateCondition().waitUntil(deadline);
}

int usleep_s(unsigned int useconds) {
    if (useconds < kMicrosecondsPerSecond) {
        return usleep(useconds);
    }
    const struct timeval now = timeOfDay();
    const uint64_t microseconds = static_cast<uint64_t>(now.tv_usec) + useconds;
    const struct timespec deadline = {secondsLater(now.tv_sec, microseconds / kMicrosecondsPerSecond),
                                      static_cast<long>(microseconds % kMicrosecondsPerSecond * 1000)};
    const int result = PrivateCondition().waitUntil(deadline);
    return result == ETIMEDOUT ? 0 : result;
}

void timeCalcAbs(struct timespec* deadline, const struct timeval* base, unsigned int seconds) {
    if (deadline == nullptr) {
        return;
    }
    const struct timeval start = base == nullptr ? timeOfDay() : *base;
    *deadline = {secondsLater(start.tv_sec, seconds), static_cast<long>(start.tv_usec * 1000)};
}

int GetMsDelay(clockid_t clockId, struct timespec* deadline, int milliseconds) {
    const int result = deadlineAfter(clockId, deadline, milliseconds);
    if (result != 0) {
        kt::reportFailedAssertion("0 == rc", __LINE__, "GetMsDelay FAILED");
    }
    return result;
}
