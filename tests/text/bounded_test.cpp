#include <gtest/gtest.h>

#include "support/heap_requests.h"
#include "support/random_text.h"

// The C library's own declarations, as glibc 2.38 has them: the header must then leave its own out.
extern "C" size_t strlcpy(char*, const char*, size_t) noexcept;
extern "C" size_t strlcat(char*, const char*, size_t) noexcept;
#undef __GLIBC_MINOR__
#define __GLIBC_MINOR__ 38
#include <ktcommon.h>

namespace {

using std::string;

TEST(Editors, EditInPlaceAndReturnTheirArgument) {
    const auto blanks = [](char* s, int) { return trim(s); };
    const auto mark = [](char* s, int ch) { return strreplace(s, ch, '.'); };
    const auto lower = [](char* s, int) { return s == nullptr ? s : strlwr(s); };
    const auto upper = [](char* s, int) { return s == nullptr ? s : strupr(s); };
    const auto reverse = [](char* s, int) { return strrev(s); };
    // clang-format off
    const struct { char* (*edit)(char*, int); int ch; string before, after; } cases[] = {
        {ltrim, '-', "--\t-a-", "a-"},  {ltrim, '-', "\r\n", ""},          {ltrim, ' ', "-a ", "-a "},
        {rtrim, ' ', "ab  ", "ab"},     {rtrim, ' ', "   ", " "},          {rtrim, ' ', " ", " "},
        {rtrim, '-', "-a-\x7F-", "-a"}, {rtrim, '-', "", ""},              {blanks, 0, "   \r\n", ""},
        {blanks, 0, "-a b-", "-a b-"},  {blanks, 0, "\t ab \r\n", "ab"},   {trimex, '-', "--a--", "a"},
        {mark, 'a', "aXa", ".X."},      {mark, 255, "\xFF", "."},          {mark, 0, "aXa", "aXa"},
        {strremove, -1, "z\xFF", "z"},  {strremove, 'a', "abaacaa", "bc"}, {strremove, 0, "ab", "ab"},
        {reverse, 0, "abc", "cba"},     {reverse, 0, "abcd", "dcba"},      {trimex, -1, "\xFFz\xFF", "z"},
        {lower, 0, "aBZ[\xC9", "abz[\xC9"}, {upper, 0, "aZz{\xE9", "AZZ{\xE9"}};
    // clang-format on
    for (auto [edit, ch, before, after] : cases) {
        EXPECT_EQ(edit(before.data(), ch), before.data());
        EXPECT_EQ(before.c_str(), after);
        EXPECT_EQ(edit(nullptr, ch), nullptr);
    }
}

TEST(Editors, ReplaceWithinALengthPastTerminators) {
    string buf("a\0ba\0a", 6);
    int count = 7;
    EXPECT_EQ(strnreplace(nullptr, 5, 'a', 'x', &count), nullptr);
    EXPECT_TRUE(strnreplace(buf.data(), 0, 'a', 'x', &count) == nullptr && count == 7);
    EXPECT_TRUE(strnreplace(buf.data(), 5, 'a', 'x', &count) == buf.data() && count == 2);
    EXPECT_EQ(buf, string("x\0bx\0a", 6));
}

void compareStripping(int rounds, size_t shortest, size_t longest, int heapGrants) {
    for (int round = 0; round < rounds; ++round) {
        const size_t letters = 1 + randomUpTo(2);  // one letter: a substring that overlaps itself everywhere
        const string sub = string(shortest, 'a') + randomText(letters, longest - shortest);
        string text = randomText(letters, 12);
        for (size_t nested = randomUpTo(5); nested > 0; --nested) {  // deletions that create occurrences
            text.insert(randomUpTo(text.size()), sub, randomUpTo(8) / 8);
        }
        string expected = text;
        for (size_t at; (at = expected.find(sub)) != string::npos;) { expected.erase(at, sub.size()); }
        const int length = withHeapGrants(heapGrants, [&] { return strstrip(text.data(), sub.c_str()); });
        ASSERT_EQ(text.c_str(), expected) << "without " << sub;
        ASSERT_EQ(length, static_cast<int>(expected.size()));
    }
}

TEST(Strip, RestartsAfterEachDeletion) {
    char text[] = "aabb";
    EXPECT_EQ(strstrip(text, ""), 4);
    compareStripping(4000, 1, 7, INT_MAX);
    compareStripping(300, 200, 300, INT_MAX);
    compareStripping(300, 200, 300, 0);
}

TEST(Differential, BackwardSearch) {
    for (int round = 0; round < 2000; ++round) {
        string text = randomText(3, 9);
        const size_t start = randomUpTo(text.size()), p = randomUpTo(text.size()), last = text.rfind('a', p);
        const char* found = last == string::npos || last < start ? nullptr : &text[last];
        EXPECT_EQ(strchrrev(&text[p], 'a', &text[start]), found);
    }
    const char* end = "\xFF";
    EXPECT_EQ(strchrrev(end, -1, end), end);
    EXPECT_EQ(strchrrev(end + 1, '\0', end), end + 1);
}

// What the array holds once `text` is written at its front: bytes behind the terminator stay.
string holding(string array, const string& text) {
    return array.replace(0, text.size() + 1, text.c_str(), text.size() + 1);
}

void compareBounded(const string& dst, const string& src, size_t size) {
    const string before = holding(string(40, 'Z'), dst), all = dst + src;
    string array(40, 'Z');
    EXPECT_EQ(strlcpy(array.data(), src.c_str(), size), src.size());
    EXPECT_EQ(array, size == 0 ? string(40, 'Z') : holding(string(40, 'Z'), src.substr(0, size - 1)));
    EXPECT_EQ(strlcat((array = before).data(), src.c_str(), size), std::min(dst.size(), size) + src.size());
    EXPECT_EQ(array, dst.size() < size ? holding(before, all.substr(0, size - 1)) : before);

    const auto compare = [&](char* result, bool fits, const string& after) {
        EXPECT_EQ(result, fits ? array.data() : nullptr);
        EXPECT_EQ(array, fits ? holding(before, after) : before);
    };
    compare(strcat_s((array = before).data(), src.c_str(), size), all.size() < size, all);
    for (size_t n : {size_t{0}, size_t{2}, size_t{5}, SIZE_MAX - 2, SIZE_MAX}) {
        const bool fits = dst.size() < size && n < size - dst.size();
        compare(strncat_s((array = before).data(), src.c_str(), n, size), fits, dst + src.substr(0, n));
    }
    const int count = static_cast<int>(randomUpTo(5)) - 1;
    string repeated = dst;
    for (int i = 0; i < count; ++i) { repeated += repeated.size() + src.size() < size ? src : ""; }
    EXPECT_EQ(strcat_rep((array = before).data(), src.c_str(), count, size),
              static_cast<int>(repeated.size()));
    compare(array.data(), true, repeated);
}

TEST(Differential, BoundedCopiesInEveryArraySize) {
    for (int round = 0; round < 3000; ++round) {
        compareBounded(randomText(3, 6), randomText(3, 7), randomUpTo(14));
    }
}

}  // namespace
