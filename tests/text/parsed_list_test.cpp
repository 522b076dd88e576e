#include <gtest/gtest.h>
#include <ktcommon.h>
#include <malloc.h>

#include <memory>

#include "support/heap_requests.h"
#include "support/stdout_capture.h"

namespace {

using std::string;
using Pairs = std::vector<std::pair<string, string>>;

using List = std::shared_ptr<ParsedNode>;

List parsed(const string& text, int pairSep = '=', int itemDelim = ';') {
    return {parseDelimtedString(text.c_str(), pairSep, itemDelim), deleteParsedString};
}

Pairs pairsOf(const List& list) {
    Pairs pairs;
    for (const ParsedNode* node = list.get(); node != nullptr; node = node->next) {
        pairs.emplace_back(node->tag, node->value);
    }
    EXPECT_EQ(getParsedNodeCount(list.get()), static_cast<int>(pairs.size()));
    return pairs;
}

string built(const List& list, int pairSep = '=', int itemDelim = ';') {
    const std::unique_ptr<char, decltype(&free)> text(buildParsedString(list.get(), pairSep, itemDelim),
                                                      free);
    return text == nullptr ? "null" : text.get();
}

TEST(ParsedList, SplitsTexts) {
    const std::tuple<const char*, int, int, Pairs> cases[] = {
        {"a = 1 ; b=2;", '=', ';', {{"a", "1"}, {"b", "2"}}},
        {"x=1;y;z=3;w", '=', ';', {{"x", "1"}, {"y;z", "3"}}},
        {"k=v=w", '=', ';', {{"k", "v=w"}}},
        {"=;=", '=', ';', {{"", ""}, {"", ""}}},
        {"a= ;b=  ;c=\r\n d=\tx\x7F\n\x01 = ", '=', '\n', {{"a", ";b=  ;c="}, {"d", "x"}, {"", " "}}},
        {"a= ;b=  ;c=\r;d= \r", '=', ';', {{"a", " "}, {"b", ""}, {"c", "\r"}, {"d", ""}}},
        {"a=1=b=2=c", '=', '=', {{"a", "1"}, {"b", "2"}}},
        {"a=1;b=2", '=', 0, {{"a", "1;b=2"}}},
        {"\xE9\xFFz\xFF\xE9", -23, -1, {{"", ""}, {"z\xFF", ""}}},
        {"a=1", 0, ';', {}},
        {"a=1", 0, 0, {}},
        {"a;b", '=', ';', {}},
        {"", '=', ';', {}}};
    for (const auto& [text, pairSep, itemDelim, pairs] : cases) {
        EXPECT_EQ(pairsOf(parsed(text, pairSep, itemDelim)), pairs) << text;
    }
    EXPECT_EQ(parseDelimtedString(nullptr, '=', ';'), nullptr);
}

TEST(ParsedList, IsBuiltAgain) {
    const List list = parsed("a=1;bc=23");
    EXPECT_EQ(built(list, ':', ' '), "a:1 bc:23");
    EXPECT_EQ(built(list, ':', 0), "a:1bc:2");
    EXPECT_EQ(built(list, 0, ';') + built(parsed("=;="), 0, 0), "ab");
    EXPECT_EQ(built(nullptr), "null");
}

TEST(ParsedList, SearchesWithoutCaseForTheFirst) {
    const List list = parsed("Key=One;KEY=two;n= -12x;other=ONE");
    ParsedNode* const first = list.get();
    EXPECT_EQ(getParsedPtr(first, "kEY"), first);
    EXPECT_EQ(getParsedPtrByValue(first, "TWO"), first->next);
    EXPECT_STREQ(getParsedValue(first, "OTHER"), "ONE");
    EXPECT_STREQ(getParsedTag(first, "one"), "Key");
    EXPECT_EQ(getParsedValueInt(first, "N"), -12);
    EXPECT_EQ(getParsedValueInt(first, "key") | getParsedValueInt(first, "no"), 0);
    for (ParsedNode* any : {first, static_cast<ParsedNode*>(nullptr)}) {
        for (const char* missing : {"ke", static_cast<const char*>(nullptr)}) {
            EXPECT_TRUE(!getParsedValue(any, missing) && !getParsedTag(any, missing));
            EXPECT_TRUE(!setParsedValue(any, missing, "v") && !setParsedValueInt(any, missing, 1));
            EXPECT_EQ(renameParsedTag(any, missing, "t"), nullptr);
        }
    }
    EXPECT_EQ(built(list), "Key=One;KEY=two;n=-12x;other=ONE");
}

TEST(ParsedList, ChangesTheFirstOfATag) {
    const List list = parsed("a=1;A=2;b=abcdef");
    ParsedNode* const first = list.get();
    EXPECT_EQ(setParsedValueInt(first, "A", INT_MIN), first);
    EXPECT_EQ(built(list), "a=-2147483648;A=2;b=abcdef");
    EXPECT_EQ(setParsedValue(first, "a", nullptr), first);
    EXPECT_EQ(setParsedValue(first, "b", getParsedValue(first, "b") + 2), first->next->next);
    EXPECT_EQ(renameParsedTag(first, "a", nullptr), nullptr);
    EXPECT_EQ(renameParsedTag(first, first->tag, "long"), first);
    EXPECT_EQ(renameParsedTag(first, "LONG", first->tag + 1), first);
    EXPECT_EQ(built(list), "ong=;A=2;b=cdef");
}

TEST(ParsedList, ShowsItself) {
    const List list = parsed("a=%d;b=");
    const auto show = [&list] { EXPECT_EQ(showParsedString(list.get()) + showParsedString(nullptr), 0); };
    std::ostringstream expected;
    expected << "Parsed params string @ " << list << "\n  a = %d\n  b = \nParsed params string @ (nil)\n";
    EXPECT_EQ(kt::test::printedBy(show), expected.str());
}

// A search for the end at each pair, a copy of the whole at each piece and a recursion over the nodes do not
// get through here.
TEST(ParsedList, HasManyNodes) {
    string text;
    for (int i = 0; i < 400000; ++i) { text += "t=" + std::to_string(i) + ";"; }
    const List list = parsed(text);
    EXPECT_EQ(built(list) + ";", text);
}

TEST(ParsedList, ShortageChangesNothingAndLeavesNothing) {
    if (!kHeapRefuses) { GTEST_SKIP() << "this allocator cannot refuse"; }
    const List list = parsed("a=1;b=2");
    size_t before = 0;
    for (int round = 0; round < 2000; ++round) {
        EXPECT_EQ(withHeapGrants(round % 9, [] { return parseDelimtedString("c=3;d=4;e=5", '=', ';'); }),
                  nullptr);
        before = round == 100 ? mallinfo2().uordblks : before;
    }
    EXPECT_LT(mallinfo2().uordblks, before + 2000);
    EXPECT_EQ(withHeapGrants(0, [&] { return setParsedValue(list.get(), "a", "9"); }), nullptr);
    EXPECT_EQ(withHeapGrants(0, [&] { return setParsedValueInt(list.get(), "a", 9); }), nullptr);
    EXPECT_EQ(withHeapGrants(0, [&] { return renameParsedTag(list.get(), "a", "z"); }), nullptr);
    EXPECT_EQ(withHeapGrants(0, [&] { return buildParsedString(list.get(), '=', ';'); }), nullptr);
    EXPECT_EQ(built(list), "a=1;b=2");
}

}  // namespace
