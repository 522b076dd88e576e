// Sleeping, and the points in time at which a timed wait ends.
//
// All functions may run in any number of threads at once and keep no state. The sleeps are cancellation
// points and leave no lock held; the others do not block. On the board a point in time ends with time_t, in
// January 2038: one that would be later is set to that last second, rather than to one in the past. Nothing
// here is for signal handlers.
#ifndef KT_SYNC_SLEEP_H
#define KT_SYNC_SLEEP_H

#include <sys/time.h>
#include <sys/types.h>
#include <time.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// Sleeps so many seconds.
// Returns 0
//     -1  a signal handler ended the sleep (errno EINTR); the rest is not slept
KT_API int sleep_s(unsigned int seconds);

// Sleeps until the wall clock has advanced so many seconds: setting the clock moves the end, signals do not.
// Returns the result of the timed wait: 110 (ETIMEDOUT), not 0, after the full time.
KT_API int tsleep_s(unsigned int seconds);

// Sleeps so many microseconds: below one million as usleep does, from there up by the wall clock, as tsleep_s
// does.
// Returns 0
//     -1     (below one million) a signal handler ended the sleep (errno EINTR); the rest is not slept
//     other  (from one million up) of the timed wait
KT_API int usleep_s(unsigned int useconds);

// Stores the wall-clock time *base (its microseconds below one million), or the current one when base is
// null, plus so many seconds in *deadline. Does nothing when deadline is null.
KT_API void timeCalcAbs(struct timespec* deadline, const struct timeval* base, unsigned int seconds);

// Stores the current time of a clock plus a delay in *deadline (not null). clockId: CLOCK_REALTIME or
// CLOCK_MONOTONIC. A negative delay counts as 0. A failure leaves *deadline as it was, and is reported with a
// backtrace while DEBUG_GENERAL is set, which may block.
// Returns 0
//     22  clockId is another clock
//     -1  the clock cannot be read (errno)
KT_API int GetMsDelay(clockid_t clockId, struct timespec* deadline, int milliseconds);

#ifdef __cplusplus
}
#endif

#endif
