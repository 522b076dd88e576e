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
    operator char*() { return bytes_.data(); }  // null when it is empty
    string all() const { return {bytes_.data(), bytes_.size()}; }

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
    const auto field = [](string text, int ch) { return string(_nextString2(text.data(), ch)); };
    EXPECT_EQ(field("set  debug on", ' ') + field(" a b", ' ') + field("x\xE9y\xE9z", -23), "debugay");
    EXPECT_EQ(field("set", ' ') + field("set  ", ' ') + field("a b", 0), "set  a b");
    EXPECT_EQ(_nextString2(nullptr, ' '), nullptr);
    const auto delimited = [](const char* key, int delim, int size) {
        Array out(size);
        const char* result = _nextDelim("x=1;id=42;y=2", key, delim, out, size);
        return result == nullptr ? "null " + out.all() : result;
    };
    EXPECT_EQ(delimited("id=", ';', 3) + delimited("id=", ';', 2) + delimited("id=", ';', 1), "424");
    EXPECT_EQ(delimited("id=", ':', 3) + delimited("no", ';', 2) + delimited("id=", ';', 0),
              "null ###null ##null ");
    EXPECT_EQ(delimited("y=", 0, 3), "2");
    EXPECT_EQ(_nextDelim("a", nullptr, ';', Array(1), 1), nullptr);
}

TEST(Scan, JoinsArguments) {
    string words[] = {"ab", "cdef", "g", "\t"};
    char* argv[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data(), nullptr};
    string all;
    for (int size = 1; size <= 11; ++size) {
        all += getCommandLine(5, argv, Array(size), size) + string("|");
    }
    EXPECT_EQ(all, "|||ab|ab|ab|ab  g|ab  g|ab cdef|ab cdef|ab cdef g|");
    Array out(4);
    EXPECT_TRUE(getCommandLine(1, argv + 4, out, 4) == nullptr && *out == '\0');
    EXPECT_TRUE(!getCommandLine(5, argv, nullptr, 4) && !getCommandLine(5, argv, Array(0), 0));
}

TEST(Scan, FindsOptions) {
    const auto found = [](const char* list, const char* delims) {
        string pieces;
        for (const char* option : {"write", "ADMIN", "", "adm", "read, write ,admin"}) {
            pieces += std::to_string(checkOptionsList(list, delims, option));
        }
        return pieces;
    };
    EXPECT_EQ(found("read, Write ,admin", ", ") + found("read, Write ,admin", ""), "1100000001");
    EXPECT_EQ(found(",", ",") + found(nullptr, ",") + found("write", nullptr), "000000000000000");
    EXPECT_EQ(checkOptionsList("a", ",", nullptr), 0);
    EXPECT_EQ(charCount("\xE9 e\xE9", 0xE9) + charCount("\xE9", -23) + charCount("", 0), 3);
}

TEST(Scan, ReadsNumbers) {
    string values;
    for (const char* text : {"0x1A", "0b101", "12abc", static_cast<const char*>(nullptr), "0x", "0X1A",
                             "0xfFg", "-7", "0x80000001", "0x100000000f", "99999999999", "0b", ""}) {
        values += std::to_string(getValue(text, 5)) + " ";
    }
    EXPECT_EQ(values, "26 5 12 -26743 5 0 255 -7 -2147483647 -1 2147483647 0 0 ");
    EXPECT_EQ(parseBinary("2101"), 5);
    EXPECT_EQ(parseBinary(string("1" + string(31, '0') + "1").c_str()), 1);
}

TEST(Scan, WritesBinaryDigits) {
    const auto digits = [](unsigned value, int maxDigits, int minWidth, int length) {
        return string(strBin(value, Array(length + 1), maxDigits, minWidth)) + " ";
    };
    EXPECT_EQ(digits(5, 32, 8, 8) + digits(0, 32, 0, 0) + digits(255, 4, 0, 4), "00000101  1111 ");
    EXPECT_EQ(digits(6, -1, 2, 2) + digits(6, 99, -1, 3), "00 110 ");
    EXPECT_EQ(digits(0x80000001, 40, 0, 32), "10000000000000000000000000000001 ");
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
    EXPECT_TRUE(strBin(1, nullptr, 1, 1) == nullptr && bufAsBin(bytes, 1, nullptr, 9, 0) == nullptr);
}

TEST(Scan, ConvertsHexadecimalBothWays) {
    string digits;
    for (int size = 0; size <= 6; ++size) {
        Array out(size);
        strBtoA("A\xE9", out, size);
        digits += out.all() + "|";
    }
    EXPECT_EQ(digits, string("|4|41|41e|41e9|41e9\0|41e9\0\0|", 28));
    const std::pair<const char*, string> cases[] = {
        {"0aFF10", "\x0A\xFF\x10"},   {"0aff10", "\x0A\xFF"},
        {"0af", string("\x0A\0", 2)}, {"xg1g1101", string("\0\0\x11\x01", 4)},
        {"", string(1, '\0')},        {"00", ""}};
    for (const auto& [hex, bytes] : cases) {
        Array out(static_cast<int>(bytes.size()));
        auto* const begin = reinterpret_cast<unsigned char*>(static_cast<char*>(out));
        strAtoB(hex, begin, static_cast<int>(bytes.size()));
        EXPECT_EQ(out.all(), bytes) << hex;
    }
    EXPECT_EQ(strBtoA("", Array(1), 1), nullptr);
}

TEST(Scan, WritesNumbers) {
    const auto commas = [](unsigned long value, int size) {
        Array out(size);
        _addCommas(value, out, size);
        return out.all();
    };
    EXPECT_EQ(commas(0, 2) + commas(999, 4) + commas(1000, 6) + commas(1000, 3),
              string("0\000999\0001,000\0\0\0\0", 15));
    EXPECT_EQ(commas(1234567, 10) + commas(4294967295UL, 14) + commas(1000, 5),
              string("1,234,567\0004,294,967,295\0\0\0\0\0\0", 29));
    EXPECT_STREQ(_secsToDHMS(93784, Array(11), 11), "1:02:03:04");
    EXPECT_STREQ(_secsToDHMS(59, Array(4), 4), "0:0");
    EXPECT_STREQ(_secsToDHMS(UINT_MAX, Array(15), 15), "49710:06:28:15");
}

TEST(Scan, ChecksNames) {
    for (const char* const set : {INVALID_CHARS, INVALID_CHARS_TAG_DESC, INVALID_CHARS_ADDRESS}) {
        EXPECT_EQ(isValidStr("Tank_1", set) + isValidStr("", set), 2);
        EXPECT_EQ(isValidStr("a\tb", set) + isValidStr("`", set) + isValidStr("\xE9", set), 0);
        EXPECT_EQ(isValidStr("Tank.1", set), set == INVALID_CHARS ? 0 : 1);
        EXPECT_EQ(isValidStr("a,b", set), set == INVALID_CHARS_TAG_DESC ? 1 : 0);
    }
    EXPECT_EQ(isValidStr(nullptr, "") + isValidChr(0, "") + isValidChr('a', "ba"), 0);
    EXPECT_EQ(isValidChr('a' + 256, "") + isValidChr('a' - 256, ""), 0);
    EXPECT_EQ(isValidChr('a', nullptr), 1);
    string name = "a;b<c\xE9";
    EXPECT_TRUE(strClean(name.data(), INVALID_CHARS) == 3 && name == "a_b_c_") << name;
    EXPECT_EQ(_isAllAlpha("abc123") + _isAllAlpha("") + _isAllNumeric("123") + _isAllNumeric(""), 4);
    EXPECT_EQ(_isAllAlpha("abc-1") + _isAllNumeric("1a") + _isAllNumeric("\xE9"), 0);
}

}  // namespace
