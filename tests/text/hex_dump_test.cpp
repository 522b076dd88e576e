#include <gtest/gtest.h>
#include <ktcommon.h>

#include <array>
#include <vector>

namespace {

using std::string;
constexpr const char* kHeader = "       0  1  2  3  4  5  6  7  8  9  A  B  C  D  E  F\n";

std::vector<unsigned char> bytesOf(int length) {
    std::vector<unsigned char> bytes;
    bytes.reserve(1);
    for (int i = 0; i < length; ++i) {
        bytes.push_back(static_cast<unsigned char>(0x1C + 7 * i));
    }
    return bytes;
}

string dumped(const std::vector<unsigned char>& bytes, int size, unsigned indent) {
    std::vector<char> out(static_cast<size_t>(size), '#');
    return strHexout(bytes.data(), static_cast<int>(bytes.size()), out.data(), size, indent);
}

// One piece after the other, each whole or not at all.
string pieceByPiece(const std::vector<unsigned char>& bytes, size_t size, int indent) {
    string text;
    string column;
    const auto add = [&](const string& piece) { text += text.size() + piece.size() < size ? piece : ""; };
    const string margin(static_cast<size_t>(std::max(1, indent)), ' ');
    for (size_t i = 0; i < bytes.size(); ++i) {
        std::array<char, 24> piece = {};
        if (i % 16 == 0) {
            for (const string& end :
                 i == 0 ? std::vector<string>{margin + kHeader} : std::vector<string>{"  ", column, "\n"}) {
                add(end);
            }
            column.clear();
            snprintf(piece.data(), piece.size(), "%04zX  ", i);
            add(margin + piece.data());
        }
        snprintf(piece.data(), piece.size(), "%02X ", bytes[i]);
        add(piece.data());
        column += isprint(bytes[i]) != 0 ? static_cast<char>(bytes[i]) : '.';
    }
    for (const string& end : {string(3 * (16 - column.size()), ' '), string("  "), column, string("\n")}) {
        add(bytes.empty() ? "" : end);
    }
    return text;
}

TEST(HexDump, DropsThePiecesThatDoNotFit) {
    for (const int length : {0, 1, 2, 15, 16, 17, 32, 40}) {
        const std::vector<unsigned char> bytes = bytesOf(length);
        for (const int indent : {0, 1, 3, 40}) {
            for (int size = 1; size < 450; ++size) {
                ASSERT_EQ(dumped(bytes, size, static_cast<unsigned>(indent)),
                          pieceByPiece(bytes, static_cast<size_t>(size), indent))
                    << length << " bytes, indent " << indent << ", size " << size;
            }
        }
    }
}

TEST(HexDump, Looks) {
    EXPECT_EQ(dumped({0x41, 0x00, 0x7F}, 200, 0),
              " " + string(kHeader) + " 0000  41 00 7F " + string(39, ' ') + "  A..\n");
    const string large = dumped(std::vector<unsigned char>(0x100011), 6000000, 2);
    EXPECT_NE(large.find("\n  FFF0  00 "), string::npos);
    EXPECT_NE(large.find("\n  10000  00 "), string::npos);
    EXPECT_NE(large.find("\n  100010  00 "), string::npos);
    const unsigned char byte = 1;
    char untouched = '#';
    EXPECT_EQ(strHexout(&byte, 1, &untouched, 1, 41), nullptr);
    EXPECT_EQ(strHexout(&byte, 1, &untouched, 0, 0), &untouched);
    EXPECT_EQ(strHexout(nullptr, 1, &untouched, 1, 0), nullptr);
    EXPECT_EQ(untouched, '#');
    EXPECT_STREQ(strHexout(&byte, -1, &untouched, 1, 0), "");
}

TEST(HexDump, RawPairsLeaveRoomForTheTerminator) {
    const unsigned char bytes[] = {0xDE, 0xAD};
    const char* const expected[] = {"", "", "", "DE", "DE", "DEAD", "DEAD"};
    for (size_t size = 1; size < 7; ++size) {
        std::vector<char> out(size, '#');
        EXPECT_EQ(strHexoutRaw(bytes, 2, out.data(), static_cast<int>(size)), out.data());
        string whole = expected[size];
        whole.resize(size);
        EXPECT_EQ(string(out.data(), size), whole);
    }
    EXPECT_EQ(strHexoutRaw(bytes, 2, nullptr, 5), nullptr);
}

}  // namespace
