// Wildcard patterns against the C library's: the ordinary ones, and one that makes both try again and again.
#include <benchmark/benchmark.h>
#include <fnmatch.h>
#include <ktcommon.h>

#include <string>

namespace {

int byFnmatch(const char* pattern, const char* text) {
    return fnmatch(pattern, text, 0) == 0 ? 1 : 0;
}

void measure(const char* name, const char* pattern, const std::string& text) {
    const auto add = [&](const char* whose, int (*match)(const char*, const char*)) {
        benchmark::RegisterBenchmark((std::string(name) + whose).c_str(), [=](benchmark::State& state) {
            for (auto _ : state) {
                benchmark::DoNotOptimize(match(pattern, text.c_str()));
            }
        });
    };
    add("/ours", patMatch);
    add("/ours_i", patMatchi);
    add("/fnmatch", byFnmatch);
}

const int registered = [] {
    measure("suffix", "*.log", "gateway_trace.log");
    measure("prefix", "tag_??_value*", "tag_17_value_of_pump");
    measure("inside", "*trace*2026*", "gateway_trace_of_11.23.2026.log");
    measure("worst", "*a*a*a*a*b", std::string(100, 'a'));
    return 0;
}();

}  // namespace
