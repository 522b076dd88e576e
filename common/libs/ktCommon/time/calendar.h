// Next run times of schedules that are written as a count and the name of a unit; calendar months and years;
// the gateway's configured local time.
//
// Times are seconds since the epoch, of 32 bits with a sign on every host as on the board: arguments are cut
// to that, sums and products wrap. Millisecond times are 1000 x seconds + microseconds / 1000, of 32 bits
// without a sign, so they wrap after about 49.7 days.
//
// The "local" calendar is the system's (TZ, as tzset or mktime has read it last), while convertWPTime and
// computeNextDefragTime go by the gateway's own setting, the configuration row "time" with its tags
// "gmt_offset" and "recognize_dst", which they read at every call.
//
// Nothing here keeps state; every function may run in any thread, none in a signal handler. convertWPTime and
// computeNextDefragTime allocate and block for as long as the configuration database does; the others do not
// block. None is a cancellation point of its own. errno is not kept.
#ifndef KT_TIME_CALENDAR_H
#define KT_TIME_CALENDAR_H

#include <time.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// A row of CalendarLookup.
typedef struct CalendarUnit {
    int unit;  // 1 to 8; 0 only in the final row
    const char* name;
} CalendarUnit;

// Eight units, and the final row {0, null}: 1 "millsecond" (spelt so), 2 "second", 3 "minute", 4 "hour",
// 5 "day", 6 "week", 7 "month", 8 "year". Weak: a program may define its own, with the same numbers and a
// final row.
extern KT_API const CalendarUnit CalendarLookup[];

// The days of January to December in a common year. Weak: a program may define its own.
extern KT_API const int DAYS_IN_MONTH[12];

// Returns the unit of that name, in any case and with or without a final "s" (a small one); 0 when there is
// none or unitName is null.
KT_API int getCalUnits(const char* unitName);

// Returns the name of the unit; null when there is none. Static.
KT_API const char* getCalString(int unit);

// Returns the seconds in the next `months` calendar months (12 x years): each counts with the length of the
// month that it begins in, so from 31 January one month is 31 days; 0 when months, or 12 x years with its
// sign, is below 1. Takes time linear to the months.
KT_API unsigned getSecondsFromMonths(time_t from, int months);
KT_API unsigned getSecondsFromYears(time_t from, int years);

// Adds `count` units to a starting time: from, in seconds or milliseconds; 0 stands for now, and all bits set
// for 0. Months and years are measured by the two functions above, with their sign and their time, from the
// start; with getNextMsTime always from the current date, since a millisecond time tells none.
// Return the next time
//      0  count is 0
//     -1  unitName is null (all bits set)
//     -2  no such unit; for getNextTime also "millsecond"
KT_API time_t getNextTime(time_t from, unsigned count, const char* unitName);
KT_API unsigned getNextMsTime(unsigned fromMs, unsigned count, const char* unitName);

// Converts between UTC and the gateway's local time. gmt_offset is three characters that are not read, the
// sign, two digits of hours, and minutes ("GMT+0530"); "-" is west of UTC. With recognize_dst other than 0 the
// local time is one hour later, east and west of UTC. A missing or shorter value, or no memory, makes both
// times the same.
// Returns t, a local time, in UTC (direction 1), or t, a time in UTC, as local time (any other): exact
// inverses.
KT_API time_t convertWPTime(time_t t, int direction);

// Returns the next run, in UTC, of a job that runs at secondsOfDay after the gateway's local midnight:
// today's if that is now or still to come, else everyDays later. Today is the day in UTC; its midnight is
// that of getMidnightDate.
KT_API time_t computeNextDefragTime(int secondsOfDay, int everyDays);

// Returns the midnight that begins the UTC day of t, its date read as local time: exact where the system's
// clock is kept in UTC, and elsewhere that day's local midnight (of standard time); -1 when that lies before
// what 32 bits hold.
KT_API time_t getMidnightDate(time_t t);

#ifdef __cplusplus
}
#endif

#endif
