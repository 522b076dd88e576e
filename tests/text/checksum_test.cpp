#include <gtest/gtest.h>
#include <ktcommon.h>

#include <algorithm>
#include <vector>

#include "support/random_text.h"

namespace {

unsigned bitwise(unsigned r, unsigned polynomial, const unsigned char* data, size_t length) {
    for (size_t i = 0; i < length * 8; ++i) {
        r = (r >> 1U) ^ (((r ^ (data[i / 8] >> (i % 8))) & 1U) * polynomial);
    }
    return r;
}

// All short lengths and the longest ones, at every alignment.
TEST(Checksum, EqualsTheBitwiseDivision) {
    std::vector<unsigned char> noise(65535);
    std::generate(noise.begin(), noise.end(), [] { return static_cast<unsigned char>(randomUpTo(255)); });
    for (unsigned i = 0; i < 90 * 16; ++i) {
        const unsigned char* const data = &noise[i % 16];
        const auto length = static_cast<unsigned short>(i < 89 * 16 ? i / 16 : 65535 - i % 16);
        const auto cut = static_cast<unsigned>(randomUpTo(length));
        const unsigned joined = CRC32_x(CRC32_x(0, data, cut), data + cut, length - cut);
        EXPECT_EQ(joined, ~bitwise(~0U, 0xEDB88320, data, length)) << length << " cut at " << cut;
        EXPECT_EQ(CRC16(data, length), bitwise(0xFFFF, 0xA001, data, length)) << length;
    }
}

TEST(Checksum, HasItsCheckValues) {
    const auto* const digits = reinterpret_cast<const unsigned char*>("123456789");
    EXPECT_EQ(CRC32_x(0, digits, 9), 0xCBF43926);
    EXPECT_EQ(CRC16(digits, 9), 0x4B37);
    EXPECT_EQ(CRC32_x(0x12345678, digits, 0), 0x12345678U);
    for (const unsigned length : {0U, 9U}) {
        EXPECT_EQ(CRC32_x(0x12345678, nullptr, length), 0x12345678U);
        EXPECT_EQ(CRC16(nullptr, static_cast<unsigned short>(length)), 0xFFFF);
    }
}

}  // namespace
