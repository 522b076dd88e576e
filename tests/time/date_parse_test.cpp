#include <gtest/gtest.h>
#include <ktcommon.h>

namespace {

// In Central Europe's standard time.
time_t at(int year, int month, int day, int hour, int minute, int second) {
    struct tm date = {second, minute, hour - 1, day, month - 1, year - 1900, 0, 0, 0, 0, nullptr};
    return timegm(&date);
}

TEST(DateParse, TextsBecomeTimes) {
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
    const std::tuple<const char*, const char*, time_t> stamps[] = {
        {"Nov 16 2026", "20:47:36", at(2026, 11, 16, 20, 47, 36)},
        {"Nov  6 2026", "20:47:36", at(2026, 11, 6, 20, 47, 36)},
        {"  Jan 1 2027 ", ":00::09:59:17", at(2027, 1, 1, 0, 9, 59)},
        {"Dec 31 2026", "", at(2026, 12, 31, 0, 0, 0)},
        {"Jul 1 2026", "12", at(2026, 7, 1, 12, 0, 0)},
        {"nov 16 2026", "20:47:36", 0},
        {nullptr, "20:47:36", 0},
        {"Nov 16 2026", nullptr, 0}};
    for (const auto& [date, time, expected] : stamps) { EXPECT_EQ(parseBuildDate(date, time), expected); }
    EXPECT_EQ(parseBuildDate("", "0:0:1"), parseBuildDate("Jan 0 0", "0:0:1"));

    const std::pair<const char*, time_t> lines[] = {
        {"02.03.2026 09:05:03.042", at(2026, 2, 3, 9, 5, 3)},
        {"02.03.2026 09:05:03.042123 00012\\00012 (  42): text", at(2026, 2, 3, 9, 5, 3)},
        {"02.03.2026 09:05:03", at(2026, 2, 3, 9, 5, 3)},
        {"07.03.2026 09:05", at(2026, 7, 3, 9, 5, 0)},
        {"14.03.2026 ", at(2027, 2, 3, 0, 0, 0)},
        {nullptr, 0}};
    for (const auto& [text, expected] : lines) { EXPECT_EQ(parseLogDate(text), expected) << expected; }
    EXPECT_EQ(parseLogDate(""), parseLogDate("0.0.0 0"));
    const struct timeval moment = {at(2026, 2, 3, 23, 59, 58), 999999};
    EXPECT_EQ(parseLogDate(getLogTimestamp(&moment)), moment.tv_sec);
}

}  // namespace
