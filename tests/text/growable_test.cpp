#include <gtest/gtest.h>
#include <ktcommon.h>

#include "support/heap_requests.h"
#include "support/random_text.h"

namespace {

using std::string;

TEST(Growable, SizesItsBlocksByTheText) {
    string all;
    char* grown = nullptr;
    for (size_t length : {3, 0, 255, 256, 300, 70000, 1}) {
        char *p = nullptr, *copied = nullptr;
        const string text(length, static_cast<char>('a' + length % 7));
        EXPECT_EQ(sprintf_x(&p, "%s", text.c_str()), static_cast<int>(length));
        EXPECT_EQ(taken(p, length < 256 ? 256 : length + 1), text);
        EXPECT_EQ(taken(strcpy_x(&copied, "%s", text.c_str()), length + 1), text);
        EXPECT_EQ(strcat_x(&grown, "%s", text.c_str()), grown);
        EXPECT_EQ(latestSize(grown), all.size() + length + 20);
        all += text;
        EXPECT_EQ(grown, all);
    }
    EXPECT_STREQ(strcpy_x(&grown, "%s", ""), "");
    EXPECT_EQ(taken(strcat_x(&grown, "b"), 21), "b");
}

TEST(Growable, TakesArgumentsOutOfTheVariable) {
    char* p = strdup("abc");
    strcat_x(&p, "%300d%s%s", 7, p + 1, p);
    EXPECT_EQ(p, "abc" + string(299, ' ') + "7bcabc");
    EXPECT_STREQ(strcpy_x(&p, "%s|%.3s", p + 300, p), "  7bcabc|abc");
    char* const previous = p;
    EXPECT_EQ(sprintf_x(&p, "<%s>", previous), 14);
    EXPECT_EQ(p, "<" + string(previous) + ">");
    free(previous);
    free(p);
}

TEST(Growable, CountsAFailedFormatAsEmpty) {
    constexpr wchar_t unprintable[] = {0x20AC, 0};  // no multi-byte form in the C locale
    char* p = strdup("kept");
    EXPECT_STREQ(strcat_x(&p, "x%ls", unprintable), "kept");
    EXPECT_EQ(taken(strcpy_x(&p, "x%ls", unprintable), 1), "");
    EXPECT_EQ(sprintf_x(&p, "x%ls", unprintable), 0);
    EXPECT_EQ(taken(p, 256), "");
}

TEST(Growable, LeavesTheVariableOnNullAndShortage) {
    char kept[] = "kept";
    char* p = kept;
    int (*const print)(char**, const char*, ...) = sprintf_x;
    EXPECT_EQ(print(nullptr, "x") + print(&p, nullptr), 0);
    for (char* (*store)(char**, const char*, ...) : {strcpy_x, strcat_x}) {
        EXPECT_TRUE(store(nullptr, "x") == nullptr && store(&p, nullptr) == nullptr);
        for (int grants = 0; kHeapRefuses && grants < 3; ++grants) {  // for the text, its growth, that of *pp
            EXPECT_EQ(withHeapGrants(grants, [&] { return store(&p, "%300d", 1); }), nullptr);
        }
    }
    EXPECT_TRUE(p == kept && p == string("kept"));
}

TEST(NewStrings, AreExactCopies) {
    EXPECT_EQ(taken(strdup_s("text"), 5), "text");
    EXPECT_EQ(taken(strdup_s(nullptr), 1), "");
    EXPECT_EQ(taken(strfill(0xFF, 3), 4), "\xFF\xFF\xFF");
    EXPECT_EQ(taken(strreplacex(nullptr, "a", "b"), 1), "");
    EXPECT_EQ(taken(strreplacex("ab", "", "x"), 3), "ab");
    for (int round = 0; round < 2000; ++round) {
        const string s = randomText(2, 12), from = "a" + randomText(2, 2), to = randomText(3, 4);
        string expected = s;
        for (size_t at = 0; (at = expected.find(from, at)) != string::npos; at += to.size()) {
            expected.replace(at, from.size(), to);
        }
        char* result = strreplacex(s.c_str(), from.c_str(), to.c_str());
        EXPECT_EQ(taken(result, expected.size() + 1), expected) << s << ": " << from << " by " << to;
    }
}

}  // namespace
