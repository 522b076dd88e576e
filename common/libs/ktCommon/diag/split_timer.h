// Debug stopwatches: lines that tell how many milliseconds a code path has taken so far.
//
// A timer is a record of the caller's, which needs no preparation for its start; the library fills it from
// start to stop. A record that has never been started must not be split or stopped, unless its name is null.
// It has two clocks: the first runs from the start, the second from the start or the latest
// __debugResetTimer2. Every line is a debug line of __debug, with what diag/debug.h says of those (blocking,
// cancellation, errno): timers act only while DEBUG_GENERAL is set. The messages bring their own line ends.
//
// A record whose start did nothing is marked with a null name: split and stop leave it alone, whatever the
// debug mode is by then. Stop a timer before its record is started again or given up: a running record cannot
// be told from one that was never filled, so the start does not free the name it finds. A stop that did
// nothing because debug output was off, and a cancellation of any call but the stop, leave the timer running.
// Times are those of the system's clock, so setting that shows.
//
// Different timers may be used in different threads at the same time; one timer needs the callers' own lock.
// Every function but __debugResetTimer2 allocates. line: the caller's source line number.
#ifndef KT_DIAG_SPLIT_TIMER_H
#define KT_DIAG_SPLIT_TIMER_H

#include <sys/time.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// A stopwatch. The record belongs to the caller, and is filled and changed by the functions below alone.
typedef struct DebugTimer {
    char* name;             // from the C allocator; null unless running
    struct timeval start;   // reference of the first clock
    struct timeval start2;  // reference of the second clock
    int indent;             // blanks before a split line: 0 while starting and stopping, 2 in between
    int splits;             // lines of the first clock, the start line and that of the stop included
    int splits2;            // lines of the second clock
} DebugTimer;

// Starts both clocks and writes "[%s] [started]\n" with the name. fmt: as printf, the name; null: "timer
// %04d" with the process id.
// Returns timer; null when it did nothing: timer is null, debug output is off, or memory for the name is
// short. Then only timer->name is changed, to null.
KT_API DebugTimer* __debugStartTimer(int line, DebugTimer* timer, const char* fmt, ...) KT_PRINTF(3, 4);

// Write "%*s[%s::%d::%dms] %s": blanks, name, number of lines of this clock before this one, its milliseconds
// (as timevalDiff) and the message; without the blanks, the numbers and their signs, "[%s] %s", when it is
// this clock's first. __debugSplitTimer uses the first clock, whose first line is that of the start,
// __debugSplitTimer2 the second. fmt: as printf.
// Return
//     0   the line is written and counted
//     -1  nothing done: timer is null or was not started, debug output is off, or memory for the message is
//         short
KT_API int __debugSplitTimer(int line, DebugTimer* timer, const char* fmt, ...) KT_PRINTF(3, 4);
KT_API int __debugSplitTimer2(int line, DebugTimer* timer, const char* fmt, ...) KT_PRINTF(3, 4);

// Starts the second clock anew, whatever the debug mode; its count goes on. A null timer changes nothing.
// Returns 0. Does not block, is no cancellation point and is safe in a signal handler.
KT_API int __debugResetTimer2(int line, DebugTimer* timer);

// Writes a last line of the first clock, without blanks, unless fmt (as printf) is null or memory for it is
// short, and frees the name, also when the thread is cancelled in between. The record can be started again.
// Returns
//     0   the timer is stopped
//     -1  nothing done: timer is null or was not started, or debug output is off
KT_API int __debugStopTimer(int line, DebugTimer* timer, const char* fmt, ...) KT_PRINTF(3, 4);

#ifdef __cplusplus
}
#endif

#endif
