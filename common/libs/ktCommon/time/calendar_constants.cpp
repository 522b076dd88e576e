// Apart from their users: a compiler that sees the values would fold them, and a program's own definitions
// were ignored.
#include "time/calendar.h"

extern "C" KT_WEAK const CalendarUnit CalendarLookup[] = {
    {1, "millsecond"}, {2, "second"}, {3, "minute"}, {4, "hour"},  {5, "day"},
    {6, "week"},       {7, "month"},  {8, "year"},   {0, nullptr},
};

extern "C" KT_WEAK const int DAYS_IN_MONTH[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
