#include "text/checksum.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace {

template <typename Crc>
using Table = std::array<Crc, 256>;

// Entry i: the remainder of the byte i, least significant bit first.
template <typename Crc>
constexpr Table<Crc> remainders(Crc polynomial) {
    Table<Crc> table{};
    for (unsigned byte = 0; byte < table.size(); ++byte) {
        unsigned r = byte;
        for (int bit = 0; bit < 8; ++bit) {
            r = (r >> 1U) ^ ((r & 1U) != 0 ? polynomial : 0U);
        }
        table[byte] = static_cast<Crc>(r);
    }
    return table;
}

struct Tables {
    Table<uint32_t> crc32;
    Table<uint16_t> crc16;
};

alignas(64) constexpr Tables kTables = {remainders<uint32_t>(0xEDB88320), remainders<uint16_t>(0xA001)};

static_assert(offsetof(Tables, crc32) == 0 && offsetof(Tables, crc16) == 1024 && sizeof(Tables) == 1536);
static_assert(kTables.crc32[1] == 0x77073096 && kTables.crc16[1] == 0xC0C1);

// A block of so many bytes is looked up at once, each byte in a table of its own, so that the look-ups do not
// wait for each other. The sixteen tables of CRC-32 take 16 KiB, eight take 8 KiB: the board's first-level data
// cache has 32 KiB, and what a checksum takes of it the daemon has to fetch again.
constexpr size_t kBlock = sizeof(void*) == 8 ? 16 : 8;

// Table k: the remainder of a byte that k + 1 zero bytes follow. The plain table is the one before them.
template <typename Crc>
using Slices = std::array<Table<Crc>, kBlock - 1>;

template <typename Crc>
constexpr Slices<Crc> slicesOf(const Table<Crc>& plain) {
    Slices<Crc> slices{};
    for (size_t k = 0; k < slices.size(); ++k) {
        for (size_t byte = 0; byte < plain.size(); ++byte) {
            const Crc before = k == 0 ? plain[byte] : slices[k - 1][byte];
            slices[k][byte] = static_cast<Crc>(plain[before & 0xFFU] ^ (before >> 8U));
        }
    }
    return slices;
}

alignas(64) constexpr Slices<uint32_t> kSlices32 = slicesOf(kTables.crc32);
alignas(64) constexpr Slices<uint16_t> kSlices16 = slicesOf(kTables.crc16);

struct Crc32 {
    using Register = uint32_t;
    static constexpr const Table<uint32_t>& kPlain = kTables.crc32;
    static constexpr const Slices<uint32_t>& kSlices = kSlices32;
};

struct Crc16 {
    using Register = uint16_t;
    static constexpr const Table<uint16_t>& kPlain = kTables.crc16;
    static constexpr const Slices<uint16_t>& kSlices = kSlices16;
};

// What the block's byte kBack places before its end adds; the register meets the first ones.
template <typename Crc, size_t kBack>
unsigned share(unsigned r, const unsigned char* block) {
    constexpr size_t kByte = kBlock - 1 - kBack;
    const unsigned met = kByte < sizeof(typename Crc::Register) ? (r >> (8 * kByte % 32)) & 0xFFU : 0U;
    if constexpr (kBack == 0) {
        return Crc::kPlain[block[kByte] ^ met];
    } else {
        return Crc::kSlices[kBack - 1][block[kByte] ^ met];
    }
}

// The first bytes come last, as everything else can be done before the register is known.
template <typename Crc, size_t... kBack>
unsigned afterBlock(unsigned r, const unsigned char* block, std::index_sequence<kBack...> /*all*/) {
    return (... ^ share<Crc, kBack>(r, block));
}

template <typename Crc>
unsigned advance(unsigned r, const unsigned char* data, size_t length) {
    for (; length >= kBlock; length -= kBlock, data += kBlock) {
        r = afterBlock<Crc>(r, data, std::make_index_sequence<kBlock>());
    }
    for (; length > 0; --length, ++data) {
        r = Crc::kPlain[(*data ^ r) & 0xFFU] ^ (r >> 8U);
    }
    return r;
}

}  // namespace

unsigned CRC32_x(unsigned crc, const unsigned char* data, unsigned len) {
    return data == nullptr ? crc : ~advance<Crc32>(~crc, data, len);
}

unsigned short CRC16(const unsigned char* data, unsigned short len) {
    return static_cast<unsigned short>(data == nullptr ? 0xFFFFU : advance<Crc16>(0xFFFF, data, len));
}
