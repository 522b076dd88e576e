// A sleep of the full time, whatever signals come.
#ifndef KT_INTERNAL_FULL_SLEEP_H
#define KT_INTERNAL_FULL_SLEEP_H

#include <cerrno>
#include <chrono>
#include <ctime>

#include "internal/private.h"

namespace kt {

// A cancellation point. Setting the clock does not matter.
inline void sleepFully(std::chrono::milliseconds duration) {
    using std::chrono::nanoseconds;
    using std::chrono::seconds;
    const auto end = std::chrono::steady_clock::now().time_since_epoch() + duration;
    const auto whole = std::chrono::duration_cast<seconds>(end);
    timespec deadline = {};
    deadline.tv_sec = static_cast<time_t>(whole.count());
    deadline.tv_nsec = static_cast<long>(nanoseconds(end - whole).count());
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR) {}
}

}  // namespace kt

#endif
