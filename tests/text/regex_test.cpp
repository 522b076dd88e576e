#include <gtest/gtest.h>
#include <ktcommon.h>
#include <pthread.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "support/plain_regex.h"
#include "support/random_text.h"

namespace {

using std::string;

// Sanitizers make frames several times as large.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t kSmallStack = 1048576;
#else
constexpr size_t kSmallStack = 65536;
#endif

// A result and its captures, as text.
using Matching = int (*)(const char*, const char*, int, RegexCapture*, int, int);
string outcome(Matching match, const string& pattern, const string& text, int numCaps, int flags) {
    std::array<RegexCapture, 8> caps = {};
    const std::vector<char> exact(text.begin(), text.end());
    const int result = match(pattern.c_str(), exact.data(), static_cast<int>(exact.size()),
                             numCaps == 0 ? nullptr : caps.data(), numCaps, flags);
    string shown = std::to_string(result);
    for (const RegexCapture& group : caps) {
        shown += group.ptr == nullptr
                     ? " -"
                     : " " + std::to_string(group.ptr - exact.data()) + "+" + std::to_string(group.len);
    }
    return shown;
}

// Random patterns of few letters and everything that has a meaning, most of them well-formed.
string randomElement(int depth) {
    static const char* const kElements[] = {"a",    "b",     "a",   "b",     "A",       ".",     "\\d",
                                            "\\S",  "\\x61", "\\b", "^",     "$",       "[ab]",  "[^a]",
                                            "[b-]", "[^]",   "[]",  "[A-B]", "[\\d$.]", "(a|b)", "\\",
                                            "[\\",  "[a",    "*",   "(",     ")",       "|"};
    if (depth > 0 && randomUpTo(3) == 0) {
        string group = "(";
        for (size_t parts = randomUpTo(3); parts > 0; --parts) {
            group += randomElement(depth - 1) + (randomUpTo(4) == 0 ? "|" : "");
        }
        return group + randomElement(depth - 1) + ")" + string(randomUpTo(2), "*+?"[randomUpTo(2)]);
    }
    const size_t rare = randomUpTo(12) == 0 ? 26 : 19;
    return kElements[randomUpTo(rare)] + string(randomUpTo(2) == 0, "*+?"[randomUpTo(2)]) +
           string(randomUpTo(9) == 0, '?');
}

void compareRandomPairs(int count) {
    for (int round = 0; round < count; ++round) {
        string pattern(randomUpTo(9) == 0, '^');
        for (size_t elements = randomUpTo(4); elements > 0; --elements) {
            pattern += randomElement(2);
        }
        string text = randomText(2, 9);
        for (char& c : text) {
            c = randomUpTo(7) == 0 ? "A1 \b"[randomUpTo(3)] : c;
        }
        const int numCaps = static_cast<int>(randomUpTo(8));
        const int flags = static_cast<int>(randomUpTo(1));
        ASSERT_EQ(outcome(slre_match, pattern, text, numCaps, flags),
                  outcome(plainMatch, pattern, text, numCaps, flags))
            << pattern << " on " << text << ", " << numCaps << " captures, flags " << flags;
    }
}

TEST(Regex, MatchesAndCaptures) {
    const std::tuple<const char*, string, int, int, const char*> cases[] = {
        {R"(^\d+(\[\d+\])?$)", "42", 0, 0, "2"},
        {R"(^\d+(\[\d+\])?$)", "42[7]", 0, 0, "5"},
        {R"(^\d+(\[\d+\])?$)", "42[]", 0, 0, "-1"},
        {R"(^\d+(\[\d+\])?$)", "x42", 0, 0, "-1"},
        {"abc", "xxabc", 0, 0, "5"},
        {"", "x", 0, 0, "0"},
        {"a|b", "b", 0, 0, "1"},
        {"(a|b)+", "abba", 0, 0, "4"},
        {"a*?b", "aaab", 0, 0, "4"},
        {"(a*)b", "aaab", 1, 0, "4 0+3"},
        {"(a)?(b)", "ab", 2, 0, "2 0+1 1+1"},
        {"((a)b)(c)", "abc", 3, 0, "3 0+2 0+1 2+1"},
        {"(a)(b(c)d)", "abcd", 4, 0, "4 0+1 1+3 2+1"},
        {"(a)?(b)?x", "ab", 2, 0, "-1 0+1 1+1"},
        {"a?a", "a", 0, 0, "-1"},
        {"a*ab", "aab", 0, 0, "3"},
        {"a.c", string("a\nc\0", 4), 0, 0, "3"},
        {"[^\xFE-\xFF]\xE9", "\xFE\xE9\xE9", 0, 0, "3"},
        {"ABC", "abc", 0, 1, "3"},
        {"[A-C]", "b", 0, 1, "1"},
        {"\\x41", "a", 0, 1, "-1"},
        {"\\.", "x.", 0, 1, "2"},
        {"(a)(b)(c)", "abc", 2, 0, "-7"},
        {"(a)(b)(c)", "abc", 0, 0, "3"},
    };
    for (const auto& [pattern, text, numCaps, flags, expected] : cases) {
        string rest;
        for (size_t group = 0; group < 8; ++group) {
            rest += " -";
        }
        string all = expected;
        all += rest.substr(2 * static_cast<size_t>(std::count(all.begin(), all.end(), ' ')));
        EXPECT_EQ(outcome(slre_match, pattern, text, numCaps, flags), all) << pattern << " on " << text;
    }
    EXPECT_EQ(slre_match("a", "a", -1, nullptr, 0, 0), -1);
    EXPECT_EQ(slre_match("^", nullptr, 0, nullptr, 5, 0), 0);
    EXPECT_EQ(slre_match(nullptr, "a", 1, nullptr, 0, 0), -1);
    EXPECT_EQ(slre_match("a*", nullptr, 1, nullptr, 0, 0), -1);
}

TEST(Regex, TellsWhatIsWrongWithThePattern) {
    const std::pair<const char*, int> cases[] = {
        {R"(\w)", -6}, {R"(\x4)", -6}, {"a\\", -6}, {"*a", -2},  {"a|?", -2},   {"a**", -1}, {"(a", -3},
        {"a)", -3},    {")(", -3},     {"()", -1},  {"[\\", -5}, {"[\\x4", -5}, {"([a", -3},
    };
    for (const auto& [pattern, code] : cases) {
        EXPECT_EQ(slre_match(pattern, "b", 1, nullptr, 0, 0), code) << pattern;
    }
}

string repeated(const string& text, int count) {
    string all;
    for (int i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

void* matchAtTheLimits(void* failures) {
    const std::tuple<string, string, int> cases[] = {
        {repeated("(", 99) + "a" + repeated(")b", 99), "a" + repeated("b", 99), 100},
        {repeated("(", 99) + "a" + repeated(")*", 99), "aa", 2},
        {repeated("(a)*", 99), "b", 0},
        {repeated("(a)", 99), repeated("a", 99), 99},
        {repeated("(", 99) + repeated("a+", 28) + repeated(")+", 99), string(28, 'a'), 28},
        {repeated("a*", 127), "aab", 2},
        {repeated("a*", 128), "b", -4},
        {repeated("(", 100) + "a" + repeated(")", 100), "a", -9},
        {repeated("(a)", 100), "a", -9},
        {repeated("a|", 100) + "b", "b", 1},
        {repeated("a|", 101), "b", -8},
    };
    for (const auto& [pattern, text, expected] : cases) {
        const int result =
            slre_match(pattern.c_str(), text.data(), static_cast<int>(text.size()), nullptr, 0, 0);
        if (result != expected) {
            *static_cast<string*>(failures) += pattern + " gives " + std::to_string(result) + "\n";
        }
    }
    return nullptr;
}

TEST(Regex, KeepsItsLimitsOnASmallStack) {
    pthread_attr_t attributes;
    pthread_t thread = 0;
    string failures;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, kSmallStack);
    ASSERT_EQ(pthread_create(&thread, &attributes, matchAtTheLimits, &failures), 0);
    pthread_join(thread, nullptr);
    EXPECT_EQ(failures, "");
}

// Each would take the age of the universe if every attempt were made.
TEST(Regex, ChainsAreLinear) {
    const string text(5000, 'a');
    for (const char* pattern :
         {"a*a*a*a*a*a*a*a*a*a*a*a*b", "a*?a*?a*?a*?b", ".*a.*a.+a.+?b", "[a-c]*\\S+a*?.+b"}) {
        EXPECT_EQ(slre_match(pattern, text.data(), static_cast<int>(text.size()), nullptr, 0, 0), -1)
            << pattern;
    }
}

TEST(Regex, EqualsThePlainRules) {
    compareRandomPairs(20000);
}

TEST(Regex, DISABLED_soakEqualsThePlainRules) {
    compareRandomPairs(20000000);
}

}  // namespace
