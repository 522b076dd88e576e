// Tokens of a line, bytes out of hexadecimal text.
#include <benchmark/benchmark.h>
#include <ktcommon.h>

#include <array>
#include <cctype>
#include <cstring>
#include <string>

namespace {

constexpr char kLine[] = "set 10 channel alpha mode fast rate 9600 parity none retries 3 gap 15 enable yes";
constexpr size_t kTokens = 16;

void splitOurs(benchmark::State& state) {
    char line[sizeof kLine + 1] = {};
    for (auto _ : state) {
        memcpy(line, kLine, sizeof kLine);
        char* token = _nextString(line, -1);
        for (size_t count = 1; count < kTokens; ++count) {
            token = _nextString(token, static_cast<int>(strlen(token)));
        }
        benchmark::DoNotOptimize(token);
    }
}

void splitByStrtok(benchmark::State& state) {
    char line[sizeof kLine] = {};
    for (auto _ : state) {
        memcpy(line, kLine, sizeof kLine);
        char* rest = nullptr;
        char* token = strtok_r(line, " \t\r\n\v\f", &rest);
        for (size_t count = 1; count < kTokens; ++count) {
            token = strtok_r(nullptr, " \t\r\n\v\f", &rest);
        }
        benchmark::DoNotOptimize(token);
    }
}

std::string digits() {
    std::string text;
    for (int i = 0; i < 512; ++i) {
        text += "0123456789abcdef"[(i * 7 + i / 16) % 16];
    }
    return text;
}

void bytesOurs(benchmark::State& state) {
    const std::string text = digits();
    std::array<unsigned char, 256> bytes{};
    for (auto _ : state) {
        benchmark::DoNotOptimize(strAtoB(text.c_str(), bytes.data(), static_cast<int>(bytes.size())));
        benchmark::ClobberMemory();
    }
}

// What a programmer would write by hand, who knows that the text is well-formed.
void bytesByTable(benchmark::State& state) {
    std::array<unsigned char, 256> values{};
    for (int c = 0; c < 256; ++c) {
        values[static_cast<size_t>(c)] =
            static_cast<unsigned char>(isdigit(c) != 0 ? c - '0' : (tolower(c) - 'a' + 10) & 15);
    }
    const std::string text = digits();
    std::array<unsigned char, 256> bytes{};
    for (auto _ : state) {
        size_t count = 0;
        for (const char* p = text.c_str(); *p != '\0'; p += 2) {
            bytes[count++] = static_cast<unsigned char>(values[static_cast<unsigned char>(p[0])] << 4U |
                                                        values[static_cast<unsigned char>(p[1])]);
        }
        benchmark::DoNotOptimize(bytes.data());
        benchmark::ClobberMemory();
    }
}

BENCHMARK(splitOurs)->Name("split/ours");
BENCHMARK(splitByStrtok)->Name("split/strtok_r");
BENCHMARK(bytesOurs)->Name("bytes/ours");
BENCHMARK(bytesByTable)->Name("bytes/table");

}  // namespace
