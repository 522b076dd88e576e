#include <gtest/gtest.h>
#include <ktcommon.h>

#include <thread>

#include "support/heap_requests.h"

namespace {

using std::string;

void enterZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
}

TEST(Elapsed, DifferencesTruncateBorrowAndWrap) {
    // clang-format off
    const struct { timeval a, b; int millis; timeval stored; int64_t micros; } cases[] = {
        {{7, 5}, {7, 5}, 0, {0, 0}, 0},                      {{2, 0}, {1, 999999}, 1, {0, 1}, 1},
        {{10, 499999}, {10, 500000}, 0, {-1, 999999}, -1},   {{9, 0}, {10, 0}, -1000, {-1, 0}, -1000000},
        {{5, 100}, {3, 200}, 2000, {1, 999900}, 1999900},    {{1, 2500000}, {0, 0}, 3500, {1, 2500000}, 3500000},
        {{0, 0}, {0, 2500000}, -2500, {-3, 500000}, -2500000},
        {{0, INT_MIN}, {0, 0}, -2147483, {-2148, 516352}, INT_MIN},
        {{INT_MAX, 999999}, {0, 0}, -1, {INT_MAX, 999999}, 2147483647999999},
        {{INT_MIN, 0}, {0, 0}, 0, {INT_MIN, 0}, -2147483648000000}};
    // clang-format on
    for (auto [a, b, millis, stored, micros] : cases) {
        SCOPED_TRACE(micros);
        EXPECT_EQ(timevalDiff(&b, &a), millis);
        EXPECT_EQ(timeval_diff(nullptr, &a, &b), micros);
        EXPECT_EQ(timeval_diff(&a, &a, &b), micros);
        EXPECT_EQ(a.tv_sec, stored.tv_sec);
        EXPECT_EQ(a.tv_usec, stored.tv_usec);
    }
}

TEST(Elapsed, FormatsWithAndWithoutDays) {
    // clang-format off
    const struct { int seconds; const char *withDays, *without; } cases[] = {
        {90061, "1:01:01:01", "01:01:01"},  {59, "0:00:00:59", "00:00:59"}, {90000, "1:01:00:00", "01:00:00"},
        {-90061, "-1:-1:-1:-1", "-1:-1:-1"}, {86399, "0:23:59:59", "23:59:59"},
        {INT_MAX, "24855:03:14:07", "03:14:07"}, {INT_MIN, "-24855:-3:-14:-8", "-3:-14:-8"}};
    // clang-format on
    for (const auto& [seconds, withDays, without] : cases) {
        EXPECT_EQ(taken(formatET(seconds, 2), 256), withDays);
        EXPECT_EQ(taken(formatET(seconds, 0), 256), without);
    }
}

TEST(DateText, SplitsTheFormatAtItsFirstBlank) {
    const string longest(79, '-'), tooLong(80, '-');
    // clang-format off
    const struct { const char *zone, *format; string date, time, both; } cases[] = {
        {"UTC0", nullptr, "02/29/1972", "00:00:01", "02/29/1972 00:00:01"}, {"XST4", "%Y  %d", "1972", " 28", "1972  28"},
        {"XST-5:30", "%d.%m %H:%M h", "29.02", "05:30 h", "29.02 05:30 h"}, {"UTC0", "%Y", "1972", "", "1972"},
        {"UTC0", " %Y", "", "1972", " 1972"}, {"UTC0", longest.c_str(), longest, "", longest},
        {"UTC0", tooLong.c_str(), "", "", ""}};
    // clang-format on
    for (const auto& [zone, format, date, time, both] : cases) {
        enterZone(zone);
        const time_t leapDay = 789 * 86400 + 1;
        EXPECT_EQ(taken(formatDate(leapDay, format), 80), date);
        EXPECT_EQ(taken(formatTime(leapDay, format), 80), time);
        EXPECT_EQ(taken(formatTimeDate(leapDay, format), 80), both);
    }
}

TEST(LogTimestamp, ShowsTheTimeInTheCurrentZone) {
    const timeval given = {86400, 5};
    const std::pair<const char*, const char*> cases[] = {
        {"UTC0", "00"}, {"AAA-1", "01"}, {"AAA-2", "02"}, {"BBB-2", "02"}, {"AAA-2CCC,J1/0,J365/25", "03"}};
    for (int round = 0; round < 100; ++round) {
        for (const auto& [zone, hour] : cases) {
            enterZone(zone);
            timeval times[2];
            gettimeofday(&times[0], nullptr);
            const string stamps[] = {getLogTimestamp(nullptr), getLogTimestamp(&given),
                                     getLogTimestamp(nullptr)};
            gettimeofday(&times[1], nullptr);
            EXPECT_EQ(stamps[1], string("01.02.1970 ") + hour + ":00:00.000005");
            EXPECT_LE(string(getLogTimestamp(&times[0]), 23), stamps[0]) << zone;
            EXPECT_GE(string(getLogTimestamp(&times[1]), 23), stamps[2]) << zone;
        }
    }
}

TEST(LogTimestamp, FillsTheThreadsOwnBuffer) {
    enterZone("UTC0");
    const timeval first = {0, 5}, second = {951782400, 999999};
    char* const ours = getLogTimestamp(&first);
    std::thread([&] { EXPECT_STREQ(getLogTimestamp(&second), "02.29.2000 00:00:00.999999"); }).join();
    EXPECT_STREQ(ours, "01.01.1970 00:00:00.000005");
    EXPECT_EQ(getLogTimestamp(nullptr), ours);
}

TEST(SetLine, StepsThroughTheTextOrFallsBack) {
    char fallback[] = "";
    // clang-format off
    const struct { const char* text; int count, direction, position; } cases[] = {  // -1: the fallback
        {"a\nb\nz", 0, 0, 0}, {"a\nb\nz", 1, 0, 2}, {"a\nb\nz", 2, 7, 4}, {"a\nb\nz", 3, 0, -1}, {"\n\n", 2, -1, 2},
        {"", 1, 0, -1},       {"", 0, 0, 0},        {"abc\n", 1, 0, 4},   {"a\nb", -1, 0, 0},    {"\n\n", 3, 0, -1},
        {"a\nb\nz", 0, 1, 0}, {"a\nb\nz", 1, 1, 2}, {"a\nb\nz", 5, 1, 2}, {"abc\n", 1, 1, 2},    {"\n\n", 1, 1, 0},
        {"\nabc", 1, 1, -1},  {"abc", 1, 1, -1},    {"", 1, 1, -1}};
    // clang-format on
    for (const auto& [text, count, direction, position] : cases) {
        string copy = text;
        char* const expected = position < 0 ? fallback : copy.data() + position;
        EXPECT_EQ(_setLine(count, direction, copy.data(), fallback), expected) << text << count << direction;
    }
}

}  // namespace
