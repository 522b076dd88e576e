#include "time/timestamp.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "internal/heap_text.h"
#include "text/growable.h"

namespace {

constexpr int kMicrosPerSecond = 1000000;
constexpr size_t kDateTextSize = 80;
constexpr size_t kStampSize = 40;

struct LogStamp {
    char text[kStampSize];
    size_t prefixLength;  // up to and including the point before the fraction; 0 when nothing is kept
    time_t second;
    // What tzset and zone changes alter, so that the kept text does not outlive its zone.
    long zoneOffset;
    const char* standardName;
    const char* summerName;
};

// Initial-exec: one address computation instead of a call; the record is far below the loader's surplus.
__attribute__((tls_model("initial-exec"))) thread_local LogStamp t_stamp;

// The format is the caller's by contract; strftime formats take no arguments that could be wrong.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
bool formatLocal(time_t t, const char* format, char* text, size_t size) {
    struct tm local;
    return localtime_r(&t, &local) != nullptr && strftime(text, size, format, &local) != 0;
}
#pragma GCC diagnostic pop

bool isKept(const LogStamp& stamp, time_t second) {
    return stamp.prefixLength != 0 && stamp.second == second && stamp.zoneOffset == timezone &&
           stamp.standardName == tzname[0] && stamp.summerName == tzname[1];
}

// Once a second and never inlined, so that the other calls save no registers for it.
__attribute__((noinline, cold)) void convertSecond(LogStamp& stamp, time_t second) {
    stamp.prefixLength =
        formatLocal(second, "%m.%d.%Y %H:%M:%S.", stamp.text, kStampSize) ? strlen(stamp.text) : 0;
    stamp.second = second;
    stamp.zoneOffset = timezone;
    stamp.standardName = tzname[0];
    stamp.summerName = tzname[1];
}

__attribute__((noinline)) char* stampGivenTime(LogStamp& stamp, const struct timeval& tv) {
    convertSecond(stamp, tv.tv_sec);
    snprintf(stamp.text + stamp.prefixLength, kStampSize - stamp.prefixLength, "%06d",
             static_cast<int>(tv.tv_usec));
    return stamp.text;
}

char* stampCurrentTime(LogStamp& stamp) {
    struct timeval now;
    gettimeofday(&now, nullptr);
    if (!isKept(stamp, now.tv_sec)) {
        convertSecond(stamp, now.tv_sec);
    }
    const unsigned millis = static_cast<unsigned>(now.tv_usec) / 1000;
    char* fraction = stamp.text + stamp.prefixLength;
    fraction[0] = static_cast<char>('0' + millis / 100);
    fraction[1] = static_cast<char>('0' + millis / 10 % 10);
    fraction[2] = static_cast<char>('0' + millis % 10);
    fraction[3] = '\0';
    return stamp.text;
}

char* stepForward(int count, char* position) {
    for (; count > 0 && position != nullptr; --count) {
        position = strchr(position, '\n');
        position = position == nullptr ? nullptr : position + 1;
    }
    return position;
}

char* beforeLastLineFeed(char* start) {
    char* lineFeed = strrchr(start, '\n');
    return lineFeed == nullptr || lineFeed == start ? nullptr : lineFeed - 1;
}

}  // namespace

int timevalDiff(const struct timeval* from, const struct timeval* to) {
    const auto micros =
        static_cast<int32_t>(static_cast<uint32_t>(to->tv_usec) - static_cast<uint32_t>(from->tv_usec));
    const auto seconds = static_cast<uint32_t>(to->tv_sec) - static_cast<uint32_t>(from->tv_sec);
    return static_cast<int>(static_cast<uint32_t>(micros / 1000) + 1000U * seconds);
}

int64_t timeval_diff(struct timeval* result, const struct timeval* a, const struct timeval* b) {
    int64_t seconds = int64_t{a->tv_sec} - b->tv_sec;
    int64_t micros = int64_t{a->tv_usec} - b->tv_usec;
    if (micros < 0) {
        const int64_t borrowed = (-micros + kMicrosPerSecond - 1) / kMicrosPerSecond;
        micros += borrowed * kMicrosPerSecond;
        seconds -= borrowed;
    }
    const struct timeval difference = {static_cast<time_t>(seconds), static_cast<suseconds_t>(micros)};
    if (result != nullptr) {
        *result = difference;
    }
    return difference.tv_usec + int64_t{kMicrosPerSecond} * difference.tv_sec;
}

char* formatET(int seconds, int withDays) {
    const int days = seconds / 86400;
    const int hours = seconds % 86400 / 3600;
    const int minutes = seconds % 3600 / 60;
    const int secs = seconds % 60;
    char* text = nullptr;
    if (withDays != 0) {
        sprintf_x(&text, "%d:%02d:%02d:%02d", days, hours, minutes, secs);
    } else {
        sprintf_x(&text, "%02d:%02d:%02d", hours, minutes, secs);
    }
    return text;
}

char* formatTimeDate(time_t t, const char* format) {
    char* text = static_cast<char*>(malloc(kDateTextSize));
    if (text == nullptr) {
        return nullptr;
    }
    if (!formatLocal(t, format == nullptr ? DEFAULT_DATE_FORMAT : format, text, kDateTextSize)) {
        *text = '\0';
    }
    return text;
}

char* formatDate(time_t t, const char* format) {
    const char* used = format == nullptr ? DEFAULT_DATE_FORMAT : format;
    const kt::HeapText datePart(strndup(used, strcspn(used, " ")));
    return datePart == nullptr ? nullptr : formatTimeDate(t, datePart.get());
}

char* formatTime(time_t t, const char* format) {
    const char* blank = strchr(format == nullptr ? DEFAULT_DATE_FORMAT : format, ' ');
    return formatTimeDate(t, blank == nullptr ? "" : blank + 1);
}

char* getLogTimestamp(const struct timeval* tv) {
    LogStamp& stamp = t_stamp;
    return tv == nullptr ? stampCurrentTime(stamp) : stampGivenTime(stamp, *tv);
}

char* _setLine(int count, int direction, char* start, char* fallback) {
    if (count <= 0) {
        return start;
    }
    if (start == nullptr) {
        return fallback;
    }
    char* position = direction == 1 ? beforeLastLineFeed(start) : stepForward(count, start);
    return position == nullptr ? fallback : position;
}
