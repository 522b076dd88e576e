// The timestamp of a debug line against the clock reading that it cannot do without.
#include <benchmark/benchmark.h>
#include <ktcommon.h>
#include <sys/time.h>

namespace {

void stampOurs(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(getLogTimestamp(nullptr));
    }
}

void stampClock(benchmark::State& state) {
    struct timeval now;
    for (auto _ : state) {
        gettimeofday(&now, nullptr);
        benchmark::DoNotOptimize(now);
    }
}

BENCHMARK(stampOurs)->Name("stamp/ours");
BENCHMARK(stampClock)->Name("stamp/gettimeofday");

}  // namespace
