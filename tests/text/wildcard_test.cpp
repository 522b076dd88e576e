#include <gtest/gtest.h>
#include <ktcommon.h>

#include "support/plain_wildcard.h"

namespace {

using std::string;

// All texts of these letters, the shorter ones first.
string nth(size_t n, const string& letters) {
    string text;
    for (; n > 0; n = (n - 1) / letters.size()) { text += letters[(n - 1) % letters.size()]; }
    return text;
}

TEST(Wildcard, FollowsTheRuleUpToFiveCharacters) {
    for (size_t i = 0; i < size_t{1365} * 364; ++i) {
        const string pattern = nth(i / 364, "aB*?"), text = nth(i % 364, "abB");
        const char *const p = pattern.c_str(), *const t = text.c_str();
        ASSERT_EQ(patMatch(p, t), covers(p, t, identity)) << p << " " << t;
        ASSERT_EQ(patMatchi(p, t), covers(p, t, toupper)) << p << " " << t;
    }
}

TEST(Wildcard, TakesAnyBytesAndLongTexts) {
    const string letters(1000000, 'a');
    const char* const text = letters.c_str();
    EXPECT_EQ(patMatch("*a*a*a*a*a*a*a*a*a*a?b", text + 990000) + patMatchi("*A*b*", text), 0);
    EXPECT_EQ(patMatch("*?a", text) + patMatchi(text, text) + patMatch("\xE9?*", "\xE9\xFF*"), 3);
    EXPECT_EQ(patMatchi("*.LOG", "x.log") + patMatchi("\xE9z", "\xE9Z") + patMatch("*?", "?*"), 3);
    EXPECT_EQ(patMatch(nullptr, "") + patMatch("*", nullptr) + patMatchi(nullptr, nullptr), 0);
}

}  // namespace
