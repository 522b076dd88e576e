#include "time/date_parse.h"

#include <cstring>

#include "internal/fields.h"
#include "text/convert.h"

namespace {

constexpr time_t kNoTime = 0;
constexpr char kMonths[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
constexpr int kMonthNameLength = 3;
constexpr int kFirstYear = 1900;

int nextNumber(kt::Fields& fields, const char* delimiters) {
    return atoi_s(fields.next(delimiters), 0);
}

// tm counts months and years from elsewhere than texts do. Wraps, since any number may come.
int countedFrom(int origin, int number) {
    return static_cast<int>(static_cast<unsigned>(number) - static_cast<unsigned>(origin));
}

// From 0. Negative when there is no such name; a missing one is the first.
int monthNamed(const char* name) {
    if (name == nullptr) {
        return 0;
    }
    const char* found = strstr(kMonths, name);
    return found == nullptr ? -1 : static_cast<int>(found - kMonths) / kMonthNameLength;
}

}  // namespace

time_t parseBuildDate(const char* date, const char* time) {
    if (date == nullptr || time == nullptr) {
        return kNoTime;
    }
    kt::Fields timeFields(time);
    kt::Fields dateFields(date);
    if (!timeFields || !dateFields) {
        return kNoTime;
    }
    struct tm local = {};
    local.tm_hour = nextNumber(timeFields, ":");
    local.tm_min = nextNumber(timeFields, ":");
    local.tm_sec = nextNumber(timeFields, ":");
    local.tm_mon = monthNamed(dateFields.next(" "));
    local.tm_mday = nextNumber(dateFields, " ");
    local.tm_year = countedFrom(kFirstYear, nextNumber(dateFields, " "));
    return local.tm_mon < 0 ? kNoTime : mktime(&local);
}

time_t parseLogDate(const char* timestamp) {
    if (timestamp == nullptr) {
        return kNoTime;
    }
    kt::Fields fields(timestamp);
    if (!fields) {
        return kNoTime;
    }
    struct tm local = {};
    local.tm_mon = countedFrom(1, nextNumber(fields, "."));
    local.tm_mday = nextNumber(fields, ".");
    local.tm_year = countedFrom(kFirstYear, nextNumber(fields, " "));
    local.tm_hour = nextNumber(fields, ":");
    local.tm_min = nextNumber(fields, ":");
    local.tm_sec = nextNumber(fields, ".");
    return mktime(&local);
}
