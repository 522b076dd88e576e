#include <gtest/gtest.h>
#include <ktcommon.h>

#include <climits>
#include <cmath>

TEST(Convert, ReadsTheLeadingNumberOrTheDefault) {
    // clang-format off
    const struct { const char* text; int integer; float real; } cases[] = {
        {nullptr, -9, -9}, {"", 0, 0}, {"none", 0, 0}, {" \t\n-12.5x", -12, -12.5F}, {"+7 8", 7, 7}, {"0x1F", 0, 31},
        {"1e2", 1, 100}, {"0.1", 0, 0.1F}, {"1e99", 1, HUGE_VALF}, {"99999999999", INT_MAX, 99999999999.F},
        {"-99999999999", INT_MIN, -99999999999.F}};
    // clang-format on
    for (const auto& [text, integer, real] : cases) {
        SCOPED_TRACE(text == nullptr ? "null" : text);
        EXPECT_EQ(atoi_s(text, -9), integer);
        EXPECT_EQ(atol_s(text, -9), integer);
        EXPECT_EQ(atof_s(text, -9), real);
    }
}
