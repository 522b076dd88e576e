// Tag=value lists: what a pair costs in a short and in a long text, and how building grows.
#include <benchmark/benchmark.h>
#include <ktcommon.h>

#include <cstdlib>
#include <string>

#ifdef KT_BENCH_GLIB
#include <glib.h>
#endif

namespace {

constexpr int kPairsPerIteration =
    1000;  // whatever the length of the text, so that times compare by the pair

std::string textOf(int64_t pairs) {
    std::string text;
    for (int64_t i = 0; i < pairs; ++i) {
        text += "parameter" + std::to_string(i) + " = value" + std::to_string(i) + ";";
    }
    return text;
}

void parseOurs(benchmark::State& state) {
    const std::string text = textOf(state.range(0));
    for (auto _ : state) {
        for (int64_t done = 0; done < kPairsPerIteration; done += state.range(0)) {
            ParsedNode* list = parseDelimtedString(text.c_str(), '=', ';');
            benchmark::DoNotOptimize(list);
            deleteParsedString(list);
        }
    }
}

#ifdef KT_BENCH_GLIB
void parseSplitting(benchmark::State& state) {
    const std::string text = textOf(state.range(0));
    for (auto _ : state) {
        for (int64_t done = 0; done < kPairsPerIteration; done += state.range(0)) {
            gchar** pieces = g_strsplit(text.c_str(), ";", -1);
            for (gchar** piece = pieces; *piece != nullptr; ++piece) {
                gchar** pair = g_strsplit(*piece, "=", 2);
                for (gchar** part = pair; *part != nullptr; ++part) {
                    g_strstrip(*part);
                }
                benchmark::DoNotOptimize(pair);
                g_strfreev(pair);
            }
            g_strfreev(pieces);
        }
    }
}
#endif

void buildOurs(benchmark::State& state) {
    ParsedNode* list = parseDelimtedString(textOf(state.range(0)).c_str(), '=', ';');
    for (auto _ : state) {
        char* text = buildParsedString(list, '=', ';');
        benchmark::DoNotOptimize(text);
        free(text);
    }
    deleteParsedString(list);
}

BENCHMARK(parseOurs)->Name("parse/ours")->Arg(20)->Arg(500);
#ifdef KT_BENCH_GLIB
BENCHMARK(parseSplitting)->Name("parse/glib")->Arg(20)->Arg(500);
#endif
BENCHMARK(buildOurs)->Name("build/ours")->Arg(20)->Arg(200)->Arg(2000);

}  // namespace
