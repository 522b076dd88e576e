#include "time/calendar.h"

#include <strings.h>
#include <sys/time.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>

#include "internal/config_row.h"
#include "internal/released_by.h"
#include "text/convert.h"
#include "text/parsed_list.h"

static_assert(offsetof(CalendarUnit, unit) == 0);
static_assert(offsetof(CalendarUnit, name) == sizeof(void*));
static_assert(sizeof(CalendarUnit) == 2 * sizeof(void*));

namespace {

enum Unit { kMillisecond = 1, kSecond, kMinute, kHour, kDay, kWeek, kMonth, kYear };
constexpr int kOutOfRange = -1;
constexpr int kNoName = -1;
constexpr int kNoUnit = -2;

constexpr uint32_t kSecondsPerMinute = 60;
constexpr uint32_t kSecondsPerHour = 3600;
constexpr uint32_t kSecondsPerDay = 86400;
constexpr uint32_t kSecondsPerWeek = 7 * kSecondsPerDay;
constexpr uint32_t kMsPerSecond = 1000;
constexpr int kMonthsPerYear = 12;
constexpr int kFebruary = 1;
constexpr int kTmYearZero = 1900;

constexpr uint32_t kNow = 0;
constexpr uint32_t kFromZero = UINT32_MAX;

constexpr size_t kRowSize = 512;
constexpr size_t kSignAt = 3;
constexpr size_t kHoursAt = 4;
constexpr size_t kMinutesAt = 6;
constexpr int kToUtc = 1;

using OwnedList = kt::Owned<ParsedNode, deleteParsedString>;

// Times as the board computes with them, and back.
uint32_t boardSeconds(time_t t) {
    return static_cast<uint32_t>(t);
}

time_t fromBoard(uint32_t seconds) {
    return static_cast<int32_t>(seconds);
}

struct tm localDate(uint32_t seconds) {
    const time_t t = fromBoard(seconds);
    struct tm local = {};
    localtime_r(&t, &local);
    return local;
}

bool isLeapYear(int year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

// Of any number of units but milliseconds. Nothing for another one.
std::optional<uint32_t> secondsIn(uint32_t count, int unit, time_t start) {
    switch (unit) {
        case kSecond:
            return count;
        case kMinute:
            return kSecondsPerMinute * count;
        case kHour:
            return kSecondsPerHour * count;
        case kDay:
            return kSecondsPerDay * count;
        case kWeek:
            return kSecondsPerWeek * count;
        case kMonth:
            return getSecondsFromMonths(start, static_cast<int>(count));
        case kYear:
            return getSecondsFromYears(start, static_cast<int>(count));
        default:
            return std::nullopt;
    }
}

// How far the gateway's local time is ahead of UTC, modulo 2^32.
uint32_t configuredOffset() {
    char row[kRowSize];
    kt::readConfigRow("time", row);
    const OwnedList settings(parseDelimtedString(row, '=', ';'));
    const char* offset = getParsedValue(settings.get(), "gmt_offset");
    if (offset == nullptr || strlen(offset) <= kMinutesAt) {
        return 0;
    }
    const char hours[] = {offset[kHoursAt], offset[kHoursAt + 1], '\0'};
    const uint32_t distance = kSecondsPerHour * static_cast<uint32_t>(atoi_s(hours, 0)) +
                              kSecondsPerMinute * static_cast<uint32_t>(atoi_s(offset + kMinutesAt, 0));
    const uint32_t summer = getParsedValueInt(settings.get(), "recognize_dst") != 0 ? kSecondsPerHour : 0;
    return (offset[kSignAt] == '-' ? 0 - distance : distance) + summer;
}

}  // namespace

int getCalUnits(const char* unitName) {
    if (unitName == nullptr || *unitName == '\0') {
        return 0;
    }
    size_t length = strlen(unitName);
    if (unitName[length - 1] == 's') {
        --length;
    }
    const CalendarUnit* row = CalendarLookup;
    while (row->name != nullptr &&
           (strlen(row->name) != length || strncasecmp(row->name, unitName, length) != 0)) {
        ++row;
    }
    return row->name == nullptr ? 0 : row->unit;
}

const char* getCalString(int unit) {
    const CalendarUnit* row = CalendarLookup;
    while (row->name != nullptr && row->unit != unit) {
        ++row;
    }
    return row->name;
}

unsigned getSecondsFromMonths(time_t from, int months) {
    const uint32_t start = boardSeconds(from);
    uint32_t days = 0;
    for (int month = localDate(start).tm_mon; months > 0; --months) {
        days += static_cast<uint32_t>(DAYS_IN_MONTH[month]);
        if (month == kFebruary &&
            isLeapYear(localDate(start + kSecondsPerDay * days).tm_year + kTmYearZero)) {
            ++days;
        }
        month = (month + 1) % kMonthsPerYear;
    }
    return kSecondsPerDay * days;
}

unsigned getSecondsFromYears(time_t from, int years) {
    const uint32_t months = static_cast<uint32_t>(kMonthsPerYear) * static_cast<uint32_t>(years);
    return getSecondsFromMonths(from, static_cast<int>(months));
}

time_t getNextTime(time_t from, unsigned count, const char* unitName) {
    if (unitName == nullptr) {
        return kNoName;
    }
    if (count == 0) {
        return 0;
    }
    uint32_t start = boardSeconds(from);
    if (start == kNow) {
        start = boardSeconds(time(nullptr));
    } else if (start == kFromZero) {
        start = 0;
    }
    const std::optional<uint32_t> length = secondsIn(count, getCalUnits(unitName), fromBoard(start));
    return length ? fromBoard(start + *length) : kNoUnit;
}

unsigned getNextMsTime(unsigned fromMs, unsigned count, const char* unitName) {
    if (unitName == nullptr) {
        return static_cast<unsigned>(kNoName);
    }
    if (count == 0) {
        return 0;
    }
    struct timeval now;
    gettimeofday(&now, nullptr);
    uint32_t start = fromMs;
    if (start == kNow) {
        start = kMsPerSecond * boardSeconds(now.tv_sec) + static_cast<uint32_t>(now.tv_usec) / kMsPerSecond;
    } else if (start == kFromZero) {
        start = 0;
    }
    const int unit = getCalUnits(unitName);
    if (unit == kMillisecond) {
        return start + count;
    }
    const std::optional<uint32_t> length = secondsIn(count, unit, now.tv_sec);
    return length ? start + kMsPerSecond * *length : static_cast<unsigned>(kNoUnit);
}

time_t convertWPTime(time_t t, int direction) {
    const uint32_t offset = configuredOffset();
    return fromBoard(direction == kToUtc ? boardSeconds(t) - offset : boardSeconds(t) + offset);
}

time_t computeNextDefragTime(int secondsOfDay, int everyDays) {
    const time_t now = time(nullptr);
    const uint32_t local = boardSeconds(getMidnightDate(now)) + static_cast<uint32_t>(secondsOfDay);
    const time_t run = convertWPTime(fromBoard(local), kToUtc);
    const bool isPast = fromBoard(boardSeconds(now)) > run;
    return isPast ? fromBoard(boardSeconds(run) + kSecondsPerDay * static_cast<uint32_t>(everyDays)) : run;
}

time_t getMidnightDate(time_t t) {
    const time_t moment = fromBoard(boardSeconds(t));
    struct tm date = {};
    gmtime_r(&moment, &date);
    date.tm_hour = 0;
    date.tm_min = 0;
    date.tm_sec = 0;
    const time_t midnight = mktime(&date);
    return midnight == fromBoard(boardSeconds(midnight)) ? midnight : kOutOfRange;
}
