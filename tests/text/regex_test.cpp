#include <gtest/gtest.h>
#include <ktcommon.h>
#include <pthread.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "support/heap_requests.h"
#include "support/plain_regex.h"
#include "support/random_text.h"

namespace {

using std::string;

// Sanitizers make frames several times as large.
const size_t kSmallStack = kHeapRefuses ? 65536 : 1048576;

// A result and its captures, as text.
using Matching = int (*)(const char*, const char*, int, RegexCapture*, int, int);
string outcome(Matching match, const string& pattern, const string& text, int numCaps, int flags) {
    std::array<RegexCapture, 8> caps = {};
    const std::vector<char> exact(text.begin(), text.end());
    const int result = match(pattern.c_str(), exact.data(), static_cast<int>(exact.size()),
                             numCaps == 0 ? nullptr : caps.data(), numCaps, flags);
    string shown = std::to_string(result);
    for (const RegexCapture& group : caps) {
        shown += " " + string(group.ptr, static_cast<size_t>(group.len));
        shown += group.ptr == nullptr ? "-" : "@" + std::to_string(group.ptr - exact.data());
    }
    return shown.substr(0, shown.find_last_not_of(" -") + 1);
}

// Of few letters and everything that has a meaning; its groups are closed, mostly.
string randomPattern() {
    static const char* const kPieces[] = {
        "a",    "b",    "a",   "b",  "(",     "(",       ")",      ")",     "|",   "*",     "+",   "?",
        "*",    "*?",   "+?",  ".",  "A",     "^",       "$",      "\\d",   "\\S", "\\x61", "\\b", "[ab]",
        "[^a]", "[b-]", "[^]", "[]", "[A-B]", "[\\d$.]", "[A-\\]", "(a|b)", "\\",  "[\\",   "[a"};
    string pattern;
    int open = 0;
    for (size_t pieces = randomUpTo(9); pieces > 0; --pieces) {
        const char* const piece = kPieces[randomUpTo(randomUpTo(9) == 0 ? 34 : 31)];
        open += piece[0] == '(' && piece[1] == '\0' ? 1 : piece[0] == ')' ? -1 : 0;
        pattern += piece;
    }
    return pattern + string(static_cast<size_t>(std::max(0, open)), ')');
}

void compareRandomPairs(int count) {
    for (int round = 0; round < count; ++round) {
        const string pattern = randomPattern();
        string text = randomText(2, 9);
        for (char& c : text) { c = randomUpTo(7) == 0 ? "A1 \b"[randomUpTo(3)] : c; }
        const int numCaps = static_cast<int>(randomUpTo(8));
        const int flags = static_cast<int>(randomUpTo(1));
        ASSERT_EQ(outcome(slre_match, pattern, text, numCaps, flags),
                  outcome(plainMatch, pattern, text, numCaps, flags))
            << pattern << " on " << text << ", " << numCaps << " captures, flags " << flags;
    }
}

TEST(Regex, MatchesAndCaptures) {
    // clang-format off
    const string lines[] = {  // a pattern, a text, the outcome
        "(a*)b aaab 4 aaa@0", "(a)?(b) ab 2 a@0 b@1", "((a)b)(c) abc 3 ab@0 a@0 c@2",
        "(a)(b(c)d) abcd 4 a@0 bcd@1 c@2", "(a)?(b)?x ab -1 a@0 b@1", "^\\d+(\\[\\d+\\])?$ 42 2",
        "^\\d+(\\[\\d+\\])?$ 42[7] 5 [7]@2", "^\\d+(\\[\\d+\\])?$ 42[] -1", "^\\d+(\\[\\d+\\])?$ x42 -1",
        "abc xxabc 5", " x 0", "a|b b 1", "(a|b)+ abba 4 a@3", "a*?b aaab 4", "a?a a -1", "a*ab aab 3",
        "a.c a\nc 3", "[^\xFE-\xFF]\xE9 \xFE\xE9\xE9 3", "[Z-\\]x [x 2", "[\\-z] a 1", "a*b?^ ab 0",
        "(a)(b)(c)(d)(e) abc -7"};
    // clang-format on
    for (const string& line : lines) {
        const size_t text = line.find(' ') + 1, result = line.find(' ', text) + 1;
        EXPECT_EQ(outcome(slre_match, line.substr(0, text - 1), line.substr(text, result - 1 - text), 4, 0),
                  line.substr(result))
            << line;
    }
    EXPECT_EQ(outcome(slre_match, "ABC", "abc", 0, 1) + outcome(slre_match, "[A-C]", "b", 0, 1), "31");
    EXPECT_EQ(outcome(slre_match, "\\x41", "a", 0, 1) + outcome(slre_match, "\\.", "x.", 0, 1), "-12");
    EXPECT_EQ(slre_match("a.c", "a\0c", 3, nullptr, 0, 0), 3);
    EXPECT_EQ(slre_match("^", nullptr, 0, nullptr, 5, 0), 0);
    EXPECT_TRUE(slre_match("a", "a", -1, nullptr, 0, 0) == -1 &&
                slre_match(nullptr, "a", 1, nullptr, 0, 0) == -1);
    EXPECT_EQ(slre_match("a*", nullptr, 1, nullptr, 0, 0), -1);
}

TEST(Regex, TellsWhatIsWrongWithThePattern) {
    const std::pair<const char*, int> cases[] = {
        {R"(\w)", -6}, {R"(\x4)", -6}, {"a\\", -6}, {"*a", -2},  {"a|?", -2},   {"a**", -1}, {"(a", -3},
        {"a)", -3},    {")(", -3},     {"()", -1},  {"[\\", -5}, {"[\\x4", -5}, {"([a", -3}};
    for (const auto& [pattern, code] : cases) {
        EXPECT_EQ(slre_match(pattern, "b", 1, nullptr, 0, 0), code) << pattern;
    }
}

string repeated(const string& text, int count) { return count == 0 ? "" : text + repeated(text, count - 1); }

void* matchAtTheLimits(void* failures) {
    const auto expect = [&](const string& pattern, const string& text, int expected) {
        if (outcome(slre_match, pattern, text, 0, 0) != std::to_string(expected)) {
            *static_cast<string*>(failures) += pattern + "\n";
        }
    };
    expect(repeated("(", 99) + "a" + repeated(")b", 99), "a" + repeated("b", 99), 100);
    expect(repeated("(", 99) + "a" + repeated(")*", 99), "aa", 2);
    expect(repeated("(a)*", 99), "b", 0);
    expect(repeated("(a)", 99), repeated("a", 99), 99);
    expect(repeated("(", 99) + repeated("a+", 28) + repeated(")+", 99), repeated("a", 28), 28);
    expect(repeated("a*", 127), "aab", 2);
    expect(repeated("a*", 128), "b", -4);
    expect(repeated("(", 100) + "a" + repeated(")", 100), "a", -9);
    expect(repeated("a|", 100) + "b", "b", 1);
    expect(repeated("a|", 101), "b", -8);
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
    const string longest = repeated("a*", 127) + "b";
    for (const char* pattern : {longest.c_str(), "a*?a*?a*?a*?b", ".*a.+a.+?b", "[a-c]*\\S+a*?.+b"}) {
        EXPECT_EQ(outcome(slre_match, pattern, text, 0, 0), "-1") << pattern;
    }
}

TEST(Regex, EqualsThePlainRules) { compareRandomPairs(20000); }

TEST(Regex, DISABLED_soakEqualsThePlainRules) { compareRandomPairs(20000000); }

}  // namespace
