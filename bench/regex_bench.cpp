// Regular expressions: an anchored name, a literal prefix that fails, chains that grow.
#include <benchmark/benchmark.h>
#include <ktcommon.h>
#include <regex.h>

#include <cstring>
#include <string>

#ifdef KT_BENCH_PCRE2
#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>
#endif

namespace {

constexpr const char* kName = "100[3]";

void matchOurs(benchmark::State& state, const char* pattern, const std::string& text) {
    RegexCapture captures[4];
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            slre_match(pattern, text.data(), static_cast<int>(text.size()), captures, 4, 0));
    }
}

void matchPosix(benchmark::State& state, const char* pattern, const std::string& text) {
    regex_t compiled;
    if (regcomp(&compiled, pattern, REG_EXTENDED) != 0) {
        state.SkipWithError("regcomp");
        return;
    }
    regmatch_t matches[4];
    for (auto _ : state) {
        benchmark::DoNotOptimize(regexec(&compiled, text.c_str(), 4, matches, 0));
    }
    regfree(&compiled);
}

#ifdef KT_BENCH_PCRE2
void nameByPcre(benchmark::State& state) {
    const auto* pattern = reinterpret_cast<PCRE2_SPTR>("^\\d+(\\[\\d+\\])?$");
    for (auto _ : state) {
        int error = 0;
        PCRE2_SIZE place = 0;
        pcre2_code* code = pcre2_compile(pattern, PCRE2_ZERO_TERMINATED, 0, &error, &place, nullptr);
        pcre2_match_data* matches = pcre2_match_data_create_from_pattern(code, nullptr);
        benchmark::DoNotOptimize(
            pcre2_match(code, reinterpret_cast<PCRE2_SPTR>(kName), strlen(kName), 0, 0, matches, nullptr));
        pcre2_match_data_free(matches);
        pcre2_code_free(code);
    }
}
BENCHMARK(nameByPcre)->Name("name/pcre2");
#endif

std::string letters(size_t length) {
    std::string text;
    while (text.size() < length) {
        text += "abcd";
    }
    return text;
}

BENCHMARK_CAPTURE(matchOurs, name, "^\\d+(\\[\\d+\\])?$", kName)->Name("name/ours");
BENCHMARK_CAPTURE(matchPosix, name, "^[0-9]+(\\[[0-9]+\\])?$", kName)->Name("name/regexec");
BENCHMARK_CAPTURE(matchOurs, prefix, "(ab)c(x)", letters(1024))->Name("prefix/ours");
BENCHMARK_CAPTURE(matchPosix, prefix, "(ab)c(x)", letters(1024))->Name("prefix/regexec");
BENCHMARK_CAPTURE(matchOurs, chain_10k, ".*a.*b.*x", letters(10000))->Name("chain/ours/10000");
BENCHMARK_CAPTURE(matchOurs, chain_100k, ".*a.*b.*x", letters(100000))->Name("chain/ours/100000");

}  // namespace
