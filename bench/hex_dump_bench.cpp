// Hex dumps of large blocks against the tool that makes them.
#include <benchmark/benchmark.h>
#include <ktcommon.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace {

constexpr int kMegabyte = 1000000;
constexpr const char* kFile = "/tmp/kt_bench_bytes";

std::vector<unsigned char> bytesOf(int64_t size) {
    std::vector<unsigned char> bytes(static_cast<size_t>(size));
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<unsigned char>(i * 2654435761U >> 7U);
    }
    return bytes;
}

void dumpOurs(benchmark::State& state) {
    const std::vector<unsigned char> bytes = bytesOf(state.range(0));
    std::vector<char> text(5 * bytes.size());
    for (auto _ : state) {
        benchmark::DoNotOptimize(strHexout(bytes.data(), static_cast<int>(bytes.size()), text.data(),
                                           static_cast<int>(text.size()), 0));
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void dumpByTool(benchmark::State& state) {
    const std::vector<unsigned char> bytes = bytesOf(state.range(0));
    filePutContentsBin(kFile, reinterpret_cast<const char*>(bytes.data()), bytes.size());
    for (auto _ : state) {
        if (system("exec xxd /tmp/kt_bench_bytes >/dev/null") != 0) {
            state.SkipWithError("xxd is not installed");
            break;
        }
    }
    unlink(kFile);
}

// Two seconds of work for a gigabyte.
void halfGigabytePerSecond(benchmark::State& state) {
    for (auto _ : state) {
        state.SetIterationTime(2e-9 * static_cast<double>(state.range(0)));
    }
}

BENCHMARK(dumpOurs)->Name("dump/ours")->Arg(kMegabyte)->Arg(10 * kMegabyte)->UseRealTime();
BENCHMARK(dumpByTool)->Name("dump/xxd")->Arg(10 * kMegabyte)->UseRealTime();
BENCHMARK(halfGigabytePerSecond)
    ->Name("dump/half_gb_per_s")
    ->Arg(10 * kMegabyte)
    ->Iterations(1)
    ->UseManualTime();

}  // namespace
