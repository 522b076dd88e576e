// Checksums: a block against the loop over one table, and a short message against what a program would link.
#include <benchmark/benchmark.h>
#include <ktcommon.h>

#include <array>
#include <cstdint>
#include <string>

#ifdef KT_BENCH_ZLIB
#include <zlib.h>
#endif

namespace {

template <typename Crc>
struct PlainTable {
    explicit PlainTable(unsigned polynomial) {
        for (unsigned byte = 0; byte < entries.size(); ++byte) {
            unsigned r = byte;
            for (int bit = 0; bit < 8; ++bit) {
                r = (r >> 1U) ^ ((r & 1U) != 0 ? polynomial : 0U);
            }
            entries[byte] = static_cast<Crc>(r);
        }
    }

    Crc operator()(Crc r, const unsigned char* data, size_t length) const {
        for (size_t i = 0; i < length; ++i) {
            r = static_cast<Crc>(entries[(data[i] ^ r) & 0xFFU] ^ (r >> 8U));
        }
        return r;
    }

    std::array<Crc, 256> entries;
};

template <typename Function>
void measure(const char* name, Function crc, std::initializer_list<int64_t> lengths) {
    auto* const added = benchmark::RegisterBenchmark(name, [crc](benchmark::State& state) {
        const std::string text(static_cast<size_t>(state.range(0)), 'x');
        const auto* data = reinterpret_cast<const unsigned char*>(text.data());
        for (auto _ : state) {
            benchmark::DoNotOptimize(data);
            benchmark::DoNotOptimize(crc(data, static_cast<unsigned>(state.range(0))));
        }
    });
    for (const int64_t length : lengths) {
        added->Arg(length);
    }
}

const int registered = [] {
    const PlainTable<uint32_t> plain32(0xEDB88320);
    const PlainTable<uint16_t> plain16(0xA001);
    const auto lengths = {INT64_C(8), INT64_C(64), INT64_C(1024)};
    measure(
        "crc32/ours", [](const unsigned char* data, unsigned n) { return CRC32_x(0, data, n); }, lengths);
    measure(
        "crc32/plain", [plain32](const unsigned char* data, unsigned n) { return ~plain32(~0U, data, n); },
        lengths);
    measure(
        "crc16/ours",
        [](const unsigned char* data, unsigned n) { return CRC16(data, static_cast<unsigned short>(n)); },
        lengths);
    measure(
        "crc16/plain", [plain16](const unsigned char* data, unsigned n) { return plain16(0xFFFF, data, n); },
        lengths);
#ifdef KT_BENCH_ZLIB
    measure(
        "crc32/zlib", [](const unsigned char* data, unsigned n) { return crc32(0, data, n); }, lengths);
#endif
    return 0;
}();

}  // namespace
