#include <gtest/gtest.h>
#include <ktcommon.h>

#include "support/random_text.h"

namespace {

unsigned bitwise(unsigned r, unsigned polynomial, const unsigned char* data, size_t length) {
    for (size_t i = 0; i < length * 8; ++i) {
        const unsigned bit = (r ^ (data[i / 8] >> (i % 8))) & 1U;
        r = (r >> 1U) ^ (bit != 0 ? polynomial : 0U);
    }
    return r;
}

TEST(Checksum, EqualsTheBitwiseDivision) {
    std::vector<unsigned char> noise(65535 + 16);
    for (unsigned char& byte : noise) {
        byte = static_cast<unsigned char>(randomUpTo(255));
    }
    for (int i = 0; i < 71 * 16 + 40; ++i) {
        const unsigned char* const data = &noise[static_cast<size_t>(i % 16)];
        const unsigned length =
            i < 71 * 16 ? static_cast<unsigned>(i / 16) : 65535U - static_cast<unsigned>(i % 40);
        const unsigned cut = static_cast<unsigned>(randomUpTo(length));
        EXPECT_EQ(CRC32_x(CRC32_x(0, data, cut), data + cut, length - cut),
                  ~bitwise(~0U, 0xEDB88320, data, length));
        EXPECT_EQ(CRC16(data, static_cast<unsigned short>(length)), bitwise(0xFFFF, 0xA001, data, length))
            << length;
    }
}

TEST(Checksum, HasItsCheckValues) {
    const auto* const digits = reinterpret_cast<const unsigned char*>("123456789");
    EXPECT_EQ(CRC32_x(0, digits, 9), 0xCBF43926);
    EXPECT_EQ(CRC32_x(CRC32_x(0, digits, 4), digits + 4, 5), 0xCBF43926);
    EXPECT_EQ(CRC16(digits, 9), 0x4B37);
    for (const unsigned char* none : {digits, static_cast<const unsigned char*>(nullptr)}) {
        EXPECT_EQ(CRC32_x(0x12345678, none, 0), 0x12345678U);
        EXPECT_EQ(CRC16(none, 0), 0xFFFF);
    }
    EXPECT_EQ(CRC32_x(0x12345678, nullptr, 9), 0x12345678U);
    EXPECT_EQ(CRC16(nullptr, 9), 0xFFFF);
}

}  // namespace
