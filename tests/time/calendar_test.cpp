// The program has a clock and a configuration row of its own.
#include <config_data.h>
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <sys/time.h>

#include <climits>
#include <string>

static time_t clockTime;
static std::string timeRow;

extern "C" KT_API time_t time(time_t* /*out*/) noexcept { return clockTime; }

extern "C" KT_API int gettimeofday(struct timeval* now, void* /*zone*/) noexcept {
    *now = {clockTime, 54999};
    return 0;
}

int dalGetConfigRowValue1(const char* row, int index, char* value, int size) {
    EXPECT_TRUE(row == std::string("time") && index == 0 && size == 512);
    return timeRow == "none" ? -1
                             : static_cast<int>(strlcpy(value, timeRow.c_str(), static_cast<size_t>(size)));
}

namespace {

constexpr time_t kHour = 3600;
constexpr time_t kDay = 24 * kHour;

time_t at(int year, int month, int day, int hour = 0) {
    struct tm date = {0, 0, hour, day, month - 1, year - 1900, 0, 0, 0, 0, nullptr};
    return timegm(&date);
}

void setZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
}

TEST(Calendar, UnitsHaveNames) {
    const std::pair<const char*, int> names[] = {
        {"Minutes", 3}, {"minute", 3}, {"MINUTE", 3}, {"millseconds", 1},
        {"YEARs", 8},   {"weekss", 0}, {"minut", 0},  {"milliseconds", 0},
        {"s", 0},       {"", 0},       {nullptr, 0}};
    for (const auto& [name, unit] : names) {
        EXPECT_EQ(getCalUnits(name), unit) << (name == nullptr ? "null" : name);
    }
    EXPECT_STREQ(getCalString(6), "week");
    EXPECT_TRUE(getCalString(9) == nullptr && getCalString(0) == nullptr);
}

TEST(Calendar, MonthsHaveTheLengthOfThoseTheyBeginIn) {
    setZone("UTC");
    for (int month = 0; month < 12 * 67; ++month) {  // to the end of 2036, from any month by any number
        for (const int months : {1, 2, 11, 12, 13, 805 - month}) {
            if (month + months <= 12 * 67 + 1) {
                EXPECT_EQ(getSecondsFromMonths(at(1970, month + 1, 1), months),
                          static_cast<unsigned>(at(1970, month + months + 1, 1) - at(1970, month + 1, 1)));
            }
        }
    }
    EXPECT_EQ(getSecondsFromMonths(at(2023, 1, 31), 1), 31U * kDay);
    EXPECT_EQ(getSecondsFromMonths(at(2024, 2, 29), 1), 29U * kDay);
    EXPECT_EQ(getSecondsFromMonths(at(2024, 1, 15), 0) + getSecondsFromMonths(at(2024, 1, 15), -1), 0U);
    EXPECT_EQ(getSecondsFromYears(at(2023, 3, 1), 1), 366U * kDay);
    EXPECT_EQ(getSecondsFromYears(at(2023, 1, 1), 1), 365U * kDay);
    EXPECT_EQ(getSecondsFromYears(at(2023, 1, 1), 0x15555556), getSecondsFromMonths(at(2023, 1, 1), 8));
    setZone("LATER-10");
    EXPECT_EQ(getSecondsFromMonths(at(2023, 1, 31, 20), 1), 28U * kDay) << "it is February there";
}

TEST(Calendar, NextTimes) {
    setZone("UTC");
    clockTime = at(2026, 2, 1);
    const std::tuple<time_t, unsigned, const char*, time_t> seconds[] = {
        {1000, 5, "minutes", 1300},    {1000, 7, "seconds", 1007},  {1000, 2, "Hour", 8200},
        {0, 1, "day", at(2026, 2, 2)}, {-1, 1, "week", 7 * kDay},   {0, 1, "month", at(2026, 3, 1)},
        {-1, 2, "years", 730 * kDay},  {1000, 1, "millsecond", -2}, {1000, 1, "fortnight", -2},
        {1000, 0, "fortnight", 0},     {1000, 0, nullptr, -1},      {0x7FFFFFFF, 1, "second", INT32_MIN},
        {5, 0xFFFFFFFF, "second", 4}};
    for (const auto& [from, count, unit, expected] : seconds) {
        EXPECT_EQ(getNextTime(from, count, unit), expected) << count << (unit == nullptr ? "" : unit);
    }
    const std::tuple<unsigned, unsigned, const char*, unsigned> milliseconds[] = {
        {4294967000, 1, "second", 704},
        {5, 2, "millseconds", 7},
        {5, 1, "minute", 60005},
        {5, 1, "hour", 3600005},
        {5, 1, "day", 86400005},
        {5, 1, "week", 604800005},
        {5, 1, "months", 5 + 2419200000},
        {5, 0, nullptr, UINT_MAX},
        {5, 1, "year", 5 + 365 * 86400000U},
        {UINT_MAX, 3, "second", 3000},
        {5, 1, "fortnight", 0xFFFFFFFE},
        {0, 1, "millsecond", static_cast<unsigned>(clockTime) * 1000 + 55},
        {5, 0, "fortnight", 0}};
    for (const auto& [from, count, unit, expected] : milliseconds) {
        EXPECT_EQ(getNextMsTime(from, count, unit), expected) << count << (unit == nullptr ? "" : unit);
    }
}

TEST(Calendar, LocalTimeOfTheConfiguration) {
    const std::pair<std::string, int> rows[] = {{"gmt_offset=GMT+0530;recognize_dst=0", 19800},
                                                {"recognize_dst=1;gmt_offset=GMT+0100", 7200},
                                                {"gmt_offset=GMT-0500;recognize_dst=1", -14400},
                                                {"GMT_OFFSET=xyz-0330", -12600},
                                                {"gmt_offset=UTC+1200;recognize_dst=-1", 46800},
                                                {"gmt_offset=GMT+05;recognize_dst=1", 0},
                                                {"gmt_offset=;recognize_dst=1", 0},
                                                {"recognize_dst=1", 0},
                                                {"", 0},
                                                {"none", 0},
                                                {std::string(505, ' ') + "gmt_offset=GMT+0100", 0}};
    const time_t noon = at(2026, 7, 1, 12);
    for (const auto& [row, offset] : rows) {
        timeRow = row;
        EXPECT_TRUE(convertWPTime(noon, 0) == noon + offset && convertWPTime(noon, 1) == noon - offset)
            << row;
        EXPECT_EQ(convertWPTime(convertWPTime(INT32_MAX, 2), 1), INT32_MAX) << row;
    }
}

TEST(Calendar, RunsOfADay) {
    setZone("UTC");
    timeRow = "gmt_offset=GMT+0000";
    const time_t today = at(2026, 12, 31);
    for (const auto& [hour, expected] : {std::pair{1, 2}, {2, 2}, {3, 26}}) {
        clockTime = today + hour * kHour;
        EXPECT_EQ(computeNextDefragTime(7200, 1), today + expected * kHour);
    }
    EXPECT_EQ(computeNextDefragTime(7200, 3), today + 3 * kDay + 7200);
    timeRow = "gmt_offset=GMT-0500";
    EXPECT_EQ(computeNextDefragTime(7200, 1), today + 7 * kHour);
    EXPECT_EQ(getMidnightDate(clockTime), today);
    setZone("WEST+5");
    EXPECT_EQ(getMidnightDate(today + kHour), today + 5 * kHour);
}

}  // namespace
