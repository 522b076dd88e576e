#include <gtest/gtest.h>
#include <ktcommon.h>

#include <string>
#include <vector>

namespace {

using std::string;

std::vector<string> allTexts(const string& alphabet, size_t longest) {
    std::vector<string> texts = {""};
    for (size_t i = 0; texts[i].size() < longest; ++i) {
        for (const char c : alphabet) {
            texts.push_back(texts[i] + c);
        }
    }
    return texts;
}

// The rule itself.
bool covers(const char* pattern, const char* text, int (*form)(int)) {
    if (*pattern == '\0' || *pattern == '*') {
        return *pattern == '\0'
                   ? *text == '\0'
                   : covers(pattern + 1, text, form) || (*text != '\0' && covers(pattern, text + 1, form));
    }
    return *text != '\0' && (*pattern == '?' || form(*pattern) == form(*text)) &&
           covers(pattern + 1, text + 1, form);
}

TEST(Wildcard, FollowsTheRuleOnAllShortTexts) {
    const std::vector<string> texts = allTexts("abB", 5);
    for (const string& pattern : allTexts("aB*?", 5)) {
        for (const string& text : texts) {
            const int exact = covers(pattern.c_str(), text.c_str(), [](int c) { return c; }) ? 1 : 0;
            const int folded = covers(pattern.c_str(), text.c_str(), toupper) ? 1 : 0;
            ASSERT_EQ(patMatch(pattern.c_str(), text.c_str()), exact) << pattern << " " << text;
            ASSERT_EQ(patMatchi(pattern.c_str(), text.c_str()), folded) << pattern << " " << text;
        }
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
