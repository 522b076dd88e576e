// The compiler's build stamps and the timestamps of debug lines, turned back into times.
//
// Texts are in local time and read as standard time: a summer text comes back one hour later. Whether a text
// is well-formed is not checked: a missing field counts as 0 (a missing month name as January), fields behind
// the last one are not read, numbers are read as atoi_s does, and those outside their range carry over. So a
// damaged text gives some other time, or -1 when time_t cannot hold it. Nothing here keeps state, blocks or is
// a cancellation point; both may run in any thread, and neither in a signal handler (they allocate). errno is
// not kept.
#ifndef KT_TIME_DATE_PARSE_H
#define KT_TIME_DATE_PARSE_H

#include <time.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// Reads what __DATE__ and __TIME__ give: "Nov  6 2026" (fields between blanks: English month name, with its
// case; day; year) and "20:47:36".
// Returns the time; 0 when either text is null, memory is short, or the month is not to be found in
//     "JanFebMarAprMayJunJulAugSepOctNovDec", where any piece counts as the month that it begins in
KT_API time_t parseBuildDate(const char* date, const char* time);

// Reads month.day.year hours:minutes:seconds, and nothing behind a "." that follows; a debug line may be
// passed as it is.
// Returns the time, of whole seconds; 0 when timestamp is null or memory is short.
KT_API time_t parseLogDate(const char* timestamp);

#ifdef __cplusplus
}
#endif

#endif
