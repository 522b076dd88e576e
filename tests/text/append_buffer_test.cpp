#include <gtest/gtest.h>
#include <ktcommon.h>
#include <malloc.h>

#include "support/heap_requests.h"
#include "support/random_text.h"

namespace {

using std::string;

// A record beside the text that it must hold.
struct Buffer : AppendBufControl {
    Buffer(int step, int limit) { InitAppendBufControl(this, step, limit); }
    ~Buffer() { free(buffer); }
    void append(const string& piece, int expectedSize) {
        ASSERT_EQ(AppendBuf(this, "%s", piece.c_str()), static_cast<int>(piece.size()));
        expected += piece;
        expectText(expectedSize);
    }
    void expectText(int expectedSize) const {
        const int length = static_cast<int>(expected.size());
        ASSERT_EQ(buffer, expected);
        ASSERT_LT(malloc_usable_size(buffer) - static_cast<size_t>(size), 64U);
        ASSERT_EQ(std::tuple(used, size, space), std::tuple(length, expectedSize, expectedSize - length));
    }
    string expected;
};

TEST(AppendBuffer, GrowsByIncrementsAtTheThresholdAndAsTheTextNeeds) {
    for (int threshold : {-7, 0, 3, 15, 1000}) {
        Buffer b(16, threshold);
        for (int round = 0, size = 0; round < 200; ++round) {
            const string piece = randomText(3, 70);
            size += size == 0 || size - b.used <= threshold ? 16 : 0;
            while (size - b.used <= static_cast<int>(piece.size())) { size += 16; }
            b.append(piece, size);
        }
    }
}

TEST(AppendBuffer, KeepsTheTextOfAFailedAppend) {
    constexpr wchar_t unprintable[] = {0x20AC, 0};  // no multi-byte form in the C locale
    Buffer b(64, 0);
    for (const char* next : {"kept", ""}) {
        EXPECT_LT(AppendBuf(&b, "x%ls", unprintable), 0);
        b.expectText(64);
        b.append(next, 64);
    }
    for (int increment : {INT_MAX, 0, -1, -64}) {
        b.increment = increment;
        EXPECT_EQ(AppendBuf(&b, "%100d", 1), -2);
    }
    b.increment = 64;
    if (kHeapRefuses) {
        EXPECT_EQ(withHeapGrants(0, [&] { return AppendBuf(&b, "%100d", 1); }), -2);
    }
    b.append(string(100, 'x'), 128);
    Buffer never(0, 0);
    EXPECT_EQ(AppendBuf(&never, "x"), -2);
    EXPECT_EQ(never.buffer, nullptr);
}

}  // namespace
