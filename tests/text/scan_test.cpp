#include <gtest/gtest.h>
#include <ktcommon.h>

#include <climits>
#include <vector>

#include "support/random_text.h"

namespace {

using std::string;

// An output array of exactly this size, full of rubbish, as it was filled by a call.
class Array {
  public:
    explicit Array(int size) : bytes_(static_cast<size_t>(size), '#') {}
    operator char*() { return bytes_.data(); }
    string all() const { return {bytes_.data(), bytes_.size()}; }
    string text() const { return bytes_.empty() ? "none" : bytes_.data(); }

  private:
    std::vector<char> bytes_;
};

TEST(Scan, WalksTokens) {
    char line[] = " one \t two\r\n\vthree\0";
    char* token = line;
    int offset = -1;
    for (const string expected : {"one", "two", "three", ""}) {
        token = _nextString(token, offset);
        EXPECT_EQ(token, expected);
        offset = static_cast<int>(expected.size());
    }
    EXPECT_EQ(token, line + sizeof line - 1);
    EXPECT_EQ(_nextString(nullptr, -1), nullptr);
}

TEST(Scan, FindsFields) {
    const std::tuple<const char*, int, const char*> fields[] = {
        {"set  debug on", ' ', "debug"}, {"set", ' ', "set"}, {"set  ", ' ', "  "}, {" a b", ' ', "a"},
        {"x\xE9y\xE9z", -23, "y"},       {"a b", 0, "a b"},
    };
    for (const auto& [text, ch, field] : fields) {
        string copy = text;
        EXPECT_STREQ(_nextString2(copy.data(), ch), field) << text;
    }
    EXPECT_EQ(_nextString2(nullptr, ' '), nullptr);
    const std::tuple<const char*, int, int, const char*> delimited[] = {
        {"id=", ';', 3, "42"},   {"id=", ';', 2, "4"}, {"id=", ';', 1, ""},      {"id=", ':', 3, nullptr},
        {"no", ';', 3, nullptr}, {"y=", 0, 3, "2"},    {"id=", ';', 0, nullptr},
    };
    for (const auto& [key, delim, size, expected] : delimited) {
        Array out(size);
        const char* result = _nextDelim("x=1;id=42;y=2", key, delim, out, size);
        EXPECT_EQ(result == nullptr ? string(static_cast<size_t>(size), '#') : result,
                  expected == nullptr ? out.all() : expected)
            << key;
    }
    EXPECT_EQ(_nextDelim("a", nullptr, ';', Array(1), 1), nullptr);
}

TEST(Scan, JoinsArguments) {
    string words[] = {"ab", "cdef", "g", "\t"};
    char* argv[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data(), nullptr};
    const char* expected[] = {"",      "",      "",        "ab",      "ab",       "ab",
                              "ab  g", "ab  g", "ab cdef", "ab cdef", "ab cdef g"};
    for (int size = 1; size <= 11; ++size) {
        Array out(size);
        EXPECT_STREQ(getCommandLine(5, argv, out, size), expected[size - 1]) << size;
    }
    Array out(4);
    EXPECT_EQ(getCommandLine(1, argv + 4, out, 4), nullptr);
    EXPECT_EQ(out.text(), "");
    EXPECT_EQ(getCommandLine(5, argv, nullptr, 4), nullptr);
    EXPECT_EQ(getCommandLine(5, argv, Array(0), 0), nullptr);
}

TEST(Scan, FindsOptions) {
    const char* list = "read, Write ,admin";
    EXPECT_EQ(checkOptionsList(list, ", ", "write") + checkOptionsList(list, ", ", "ADMIN"), 2);
    EXPECT_EQ(checkOptionsList(list, ", ", "") + checkOptionsList(list, ", ", "adm") +
                  checkOptionsList(",", ",", ""),
              0);
    EXPECT_EQ(checkOptionsList(list, "", "read, write ,admin"), 1);
    EXPECT_EQ(checkOptionsList(nullptr, ",", "a") + checkOptionsList("a", nullptr, "a") +
                  checkOptionsList("a", ",", nullptr),
              0);
    EXPECT_EQ(charCount("\xE9 e\xE9", 0xE9) + charCount("\xE9", -23) + charCount("", 0), 3);
}

TEST(Scan, ReadsNumbers) {
    const std::pair<const char*, int> cases[] = {
        {"0x1A", 26},
        {"0b101", 5},
        {"12abc", 12},
        {nullptr, -26743},
        {"0x", 5},
        {"0X1A", 0},
        {"0xfFg", 255},
        {"-7", -7},
        {"0x180000001", INT_MIN + 1},
        {"99999999999", INT_MAX},
        {"0b", 0},
        {"", 0},
    };
    for (const auto& [text, value] : cases) {
        EXPECT_EQ(getValue(text, 5), value) << text;
    }
    EXPECT_EQ(parseBinary("2101"), 5);
    EXPECT_EQ(parseBinary(string("1" + string(31, '0') + "1").c_str()), 1);
}

TEST(Scan, WritesBinaryDigits) {
    const std::tuple<unsigned, int, int, const char*> cases[] = {
        {5, 32, 8, "00000101"}, {0, 32, 0, ""},     {255, 4, 0, "1111"},
        {6, -1, 2, "00"},       {6, 99, -1, "110"}, {0x80000001, 40, 0, "10000000000000000000000000000001"},
    };
    for (const auto& [value, maxDigits, minWidth, digits] : cases) {
        Array out(static_cast<int>(strlen(digits)) + 1);
        EXPECT_STREQ(strBin(value, out, maxDigits, minWidth), digits);
    }
    const unsigned char bytes[] = {1, 255};
    const string full = "00000001 11111111 ";
    for (size_t size = 0; size <= 21; ++size) {
        Array out(static_cast<int>(size));
        bufAsBin(bytes, 2, out, static_cast<int>(size), 1);
        string groups = full.substr(0, size < 10 ? 0 : size < 19 ? 9 : 18);
        groups.resize(size);
        EXPECT_EQ(out.all(), groups);
    }
    EXPECT_STREQ(bufAsBin(bytes, 2, Array(17), 17, 0), "0000000111111111");
    EXPECT_EQ(strBin(1, nullptr, 1, 1), nullptr);
    EXPECT_EQ(bufAsBin(bytes, 1, nullptr, 9, 0), nullptr);
}

TEST(Scan, ConvertsHexadecimalBothWays) {
    for (int round = 0; round < 500; ++round) {
        string text = randomText(3, 12);
        for (char& c : text) {
            c = static_cast<char>(1 + randomUpTo(254));
        }
        const int size = static_cast<int>(text.size());
        Array hex(2 * size + 1);
        EXPECT_EQ(strBtoA(text.c_str(), hex, 2 * size + 1), text.empty() ? nullptr : static_cast<char*>(hex));
        Array back(size + 1);
        strAtoB(text.empty() ? "" : hex, reinterpret_cast<unsigned char*>(static_cast<char*>(back)),
                size + 1);
        EXPECT_EQ(back.all(), text + '\0');
        const string cut(strncpy(Array(size), hex, static_cast<size_t>(size)), static_cast<size_t>(size));
        Array few(size);
        strBtoA(text.c_str(), few, size);
        EXPECT_EQ(few.all(), cut);
    }
    const std::tuple<const char*, int, string> cases[] = {
        {"0aFF10", 3, "\x0A\xFF\x10"},   {"0aff10", 2, "\x0A\xFF"},
        {"0af", 2, string("\x0A\0", 2)}, {"xg1g1101", 4, string("\0\0\x11\x01", 4)},
        {"", 1, string(1, '\0')},        {"00", 0, ""},
    };
    for (const auto& [hex, size, bytes] : cases) {
        Array out(size);
        strAtoB(hex, reinterpret_cast<unsigned char*>(static_cast<char*>(out)), size);
        EXPECT_EQ(out.all(), bytes) << hex;
    }
    EXPECT_EQ(strBtoA("", Array(1), 1), nullptr);
}

TEST(Scan, WritesNumbers) {
    const std::tuple<unsigned long, int, const char*> numbers[] = {
        {0, 2, "0"},
        {999, 4, "999"},
        {1000, 6, "1,000"},
        {1000, 5, ""},
        {1234567, 10, "1,234,567"},
        {4294967295UL, 14, "4,294,967,295"},
    };
    for (const auto& [value, size, text] : numbers) {
        Array out(size);
        EXPECT_STREQ(_addCommas(value, out, size), text);
        EXPECT_EQ(out.all(), text + string(static_cast<size_t>(size) - strlen(text), '\0'));
    }
    EXPECT_STREQ(_secsToDHMS(93784, Array(11), 11), "1:02:03:04");
    EXPECT_STREQ(_secsToDHMS(59, Array(4), 4), "0:0");
    EXPECT_STREQ(_secsToDHMS(UINT_MAX, Array(15), 15), "49710:06:28:15");
}

TEST(Scan, ChecksNames) {
    const std::tuple<const char*, int, int, int> cases[] = {
        {"Tank_1", 1, 1, 1}, {"Tank.1", 0, 1, 1}, {"a,b", 0, 1, 0},  {"a\tb", 0, 0, 0},
        {"", 1, 1, 1},       {"`", 0, 0, 0},      {"\xE9", 0, 0, 0},
    };
    for (const auto& [text, all, description, address] : cases) {
        EXPECT_EQ(isValidStr(text, INVALID_CHARS), all) << text;
        EXPECT_EQ(isValidStr(text, INVALID_CHARS_TAG_DESC), description) << text;
        EXPECT_EQ(isValidStr(text, INVALID_CHARS_ADDRESS), address) << text;
    }
    EXPECT_EQ(isValidStr(nullptr, "") + isValidChr(0, "") + isValidChr('a' + 256, "") +
                  isValidChr('a' - 256, "") + isValidChr('a', "ba"),
              0);
    EXPECT_EQ(isValidChr('a', nullptr), 1);
    string name = "a;b<c\xE9";
    EXPECT_EQ(strClean(name.data(), INVALID_CHARS), 3);
    EXPECT_EQ(name, "a_b_c_");
    EXPECT_EQ(_isAllAlpha("abc123") + _isAllAlpha("") + _isAllNumeric("123") + _isAllNumeric(""), 4);
    EXPECT_EQ(_isAllAlpha("abc-1") + _isAllNumeric("1a") + _isAllNumeric("\xE9"), 0);
}

}  // namespace
