// The timestamp of a debug line against the clock reading that it cannot do without, the way back, and calendar
// lengths.
#include <benchmark/benchmark.h>
#include <ktcommon.h>
#include <sys/time.h>

#include <ctime>

namespace {

constexpr char kStamp[] = "02.03.2026 09:05:03.042";
constexpr time_t kStart = 946684800;  // 1 January 2000

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

void parseOurs(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(parseLogDate(kStamp));
    }
}

void parseStrptime(benchmark::State& state) {
    for (auto _ : state) {
        struct tm date = {};
        strptime(kStamp, "%m.%d.%Y %H:%M:%S", &date);
        benchmark::DoNotOptimize(mktime(&date));
    }
}

void monthsOurs(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(getSecondsFromMonths(kStart, static_cast<int>(state.range(0))));
    }
}

// What a user would do: let mktime carry the months over.
void monthsMktime(benchmark::State& state) {
    for (auto _ : state) {
        struct tm date;
        localtime_r(&kStart, &date);
        date.tm_mon += static_cast<int>(state.range(0));
        benchmark::DoNotOptimize(mktime(&date) - kStart);
    }
}

BENCHMARK(stampOurs)->Name("stamp/ours");
BENCHMARK(stampClock)->Name("stamp/gettimeofday");
BENCHMARK(parseOurs)->Name("parse/ours");
BENCHMARK(parseStrptime)->Name("parse/strptime");
BENCHMARK(monthsOurs)->Name("months/ours")->Arg(1)->Arg(24)->Arg(240);
BENCHMARK(monthsMktime)->Name("months/mktime")->Arg(1);

}  // namespace
