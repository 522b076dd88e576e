// File names made of tag values, which the program has itself: growth with the number of tags.
#include <benchmark/benchmark.h>
#include <ktcommon.h>
#include <tags.h>

#include <cstdlib>
#include <cstring>
#include <string>

char* getTagValueByID(void* /*a*/, int /*id*/, void* /*b*/, int /*option*/) {
    return strdup("Line 1: a value");
}

namespace {

void nameOurs(benchmark::State& state) {
    std::string ids;
    for (int64_t i = 0; i < state.range(0); ++i) {
        ids += "{12},";
    }
    for (auto _ : state) {
        char* name = buildOutputFilename("/tmp/", ids.c_str(), "-", ".log");
        benchmark::DoNotOptimize(name);
        free(name);
    }
}

BENCHMARK(nameOurs)->Name("name/ours")->Arg(100)->Arg(1000)->Arg(10000);

}  // namespace
