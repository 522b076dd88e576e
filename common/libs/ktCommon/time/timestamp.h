// Elapsed times, date and time texts, the timestamp of debug lines, and stepping through the lines of a text.
//
// Times are the platform's time_t (signed 32 bits on the board) and struct timeval. New strings come from the
// C allocator and are released by the caller with free(); they are null when memory is short. Conversions use
// the local time zone as the C library last read it (tzset). The conversions take the C library's own lock,
// and the first one reads the zone's file. Every function may run in any thread; none is a cancellation
// point. timevalDiff, timeval_diff and _setLine are safe in signal handlers, the others only where something
// else bounds a wait for that lock.
#ifndef KT_TIME_TIMESTAMP_H
#define KT_TIME_TIMESTAMP_H

#include <stdint.h>
#include <sys/time.h>
#include <time.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// "%m/%d/%Y %H:%M:%S": a date part and a time part around one blank. Weak: a program may define its own.
extern KT_API const char DEFAULT_DATE_FORMAT[];

// Returns the milliseconds from `from` to `to` (neither null): the difference of the microseconds divided by
// 1000 and truncated toward zero, plus 1000 for each second; modulo 2^32.
KT_API int timevalDiff(const struct timeval* from, const struct timeval* to);

// Stores a minus b (neither null) in *result, which may be null; its tv_usec is not negative, and not brought
// below 1000000 when the arguments' are out of range.
// Returns the same difference in microseconds.
KT_API int64_t timeval_diff(struct timeval* result, const struct timeval* a, const struct timeval* b);

// Returns a new string "hours:minutes:seconds", two digits each, without the whole days of `seconds`; with
// withDays not 0 "days:hours:minutes:seconds". Each number of a negative time carries its own sign.
KT_API char* formatET(int seconds, int withDays) KT_MALLOC KT_WARN_UNUSED;

// Formats the local time t with the strftime format `format` (null: DEFAULT_DATE_FORMAT).
// formatDate uses the format up to its first blank (all of it when it has none), formatTime what follows the
// first blank (nothing when it has none).
// Returns a new string in a block of 80 bytes; empty when the text does not fit or t has no calendar date.
KT_API char* formatTimeDate(time_t t, const char* format) KT_MALLOC KT_WARN_UNUSED;
KT_API char* formatDate(time_t t, const char* format) KT_MALLOC KT_WARN_UNUSED;
KT_API char* formatTime(time_t t, const char* format) KT_MALLOC KT_WARN_UNUSED;

// The local time of *tv as "month.day.year hours:minutes:seconds.microseconds" (26 characters), or with tv
// null the current time with milliseconds (23 characters).
// Returns the calling thread's own buffer of 40 bytes: at most 39 characters, valid until the thread's next
// call or its end, not to be freed. A time without a calendar date (only 64-bit times have those) has the
// fraction alone. The current second's text is kept, so that most calls cost little more than reading the
// clock. A change of zone shows at once; one that keeps both zone names and the standard offset shows with
// the next second.
KT_API char* getLogTimestamp(const struct timeval* tv);

// Steps count times from start through the lines of the NUL-terminated text there.
// direction not 1: to the character behind the next line feed at or after the position.
// direction 1: to the character before the last line feed of the text; further steps stay there.
// Returns the position reached; start when count is 0 or negative; fallback when start is null, a line feed
// is missing, or (direction 1) it is the first character and nothing stands before it.
KT_API char* _setLine(int count, int direction, char* start, char* fallback);

#ifdef __cplusplus
}
#endif

#endif
