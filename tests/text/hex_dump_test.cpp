#include <gtest/gtest.h>
#include <ktcommon.h>

#include <vector>

namespace {

using std::string;
constexpr const char* kHeader = "       0  1  2  3  4  5  6  7  8  9  A  B  C  D  E  F\n";

string dumped(const std::vector<unsigned char>& bytes, size_t size, unsigned indent) {
    std::vector<char> out(size, '#');
    return strHexout(bytes.data(), static_cast<int>(bytes.size()), out.data(), static_cast<int>(size),
                     indent);
}

// The whole dump cut into its pieces, and those appended that fit.
string pieceByPiece(const string& whole, size_t length, size_t margin, size_t size) {
    string text;
    size_t at = 0;
    const auto add = [&](size_t piece) {
        text += text.size() + piece < size ? whole.substr(at, piece) : "";
        at += piece;
    };
    add(margin + strlen(kHeader));
    for (size_t done = 0; done < length; done += 16) {
        const size_t count = std::min<size_t>(16, length - done);
        add(margin + strlen("0000  "));
        for (size_t i = 0; i < count; ++i) { add(strlen("00 ")); }
        for (const size_t piece : {3 * (16 - count), size_t{2}, count, size_t{1}}) { add(piece); }
    }
    return text;
}

TEST(HexDump, DropsThePiecesThatDoNotFit) {
    for (const size_t length : {1, 2, 15, 16, 17, 32, 40}) {
        const std::vector<unsigned char> bytes(length, 'z');
        for (const unsigned indent : {0, 3, 40}) {
            const string whole = dumped(bytes, 1000, indent);
            for (size_t size = 1; size < 450; ++size) {
                ASSERT_EQ(dumped(bytes, size, indent),
                          pieceByPiece(whole, length, std::max(1U, indent), size))
                    << length << " bytes, indent " << indent << ", size " << size;
            }
        }
    }
}

TEST(HexDump, Looks) {
    std::vector<unsigned char> bytes = {0x41, 0x00, 0x7F};
    EXPECT_EQ(dumped(bytes, 200, 0),
              string(" ") + kHeader + " 0000  41 00 7F " + string(39, ' ') + "  A..\n");
    bytes.resize(0x100011, 0xE9);
    const string large = dumped(bytes, 6000000, 2);
    const string line = "E9 E9 E9 E9 E9 E9 E9 E9 E9 E9 E9 E9 E9 E9 E9 E9   ................\n";
    EXPECT_NE(large.find("\n  FFF0  " + line + "  10000  " + line), string::npos);
    EXPECT_NE(large.find("\n  100010  E9 " + string(45, ' ') + "  .\n"), string::npos);
    char out = '#';  // stays
    EXPECT_TRUE(!strHexout(bytes.data(), 1, &out, 1, 41) && !strHexout(nullptr, 1, &out, 1, 0));
    EXPECT_TRUE(strHexout(bytes.data(), 1, &out, 0, 0) == &out && out == '#');
    EXPECT_STREQ(strHexout(bytes.data(), -1, &out, 1, 0), "");
}

TEST(HexDump, RawPairsLeaveRoomForTheTerminator) {
    const unsigned char bytes[] = {0xDE, 0xAD};
    for (size_t size = 1; size < 7; ++size) {
        std::vector<char> out(size, '#');
        EXPECT_EQ(strHexoutRaw(bytes, 2, out.data(), static_cast<int>(size)), out.data());
        string whole = string("DEAD").substr(0, (size - 1) / 2 * 2);
        whole.resize(size);
        EXPECT_EQ(string(out.data(), size), whole);
    }
    EXPECT_EQ(strHexoutRaw(bytes, 2, nullptr, 5), nullptr);
}

}  // namespace
