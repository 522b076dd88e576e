// Text functions against what a daemon would use instead, and their growth with the length of the text.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <ktcommon.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#ifdef KT_BENCH_GLIB
#include <glib.h>
#endif

namespace {

constexpr int kPieces = 200;
constexpr int kShortText = 4000;
constexpr int kLongText = 10 * kShortText;

__attribute__((noinline, format(printf, 1, 2))) char* formatOurs(const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    char* text = formatVAString(fmt, ap);
    va_end(ap);
    return text;
}

void formatText(benchmark::State& state) {
    for (auto _ : state) {
        char* text = formatOurs("connection %d of %s accepted\n", 7, "plant-network");
        benchmark::DoNotOptimize(text);
        free(text);
    }
}

void formatAsprintf(benchmark::State& state) {
    for (auto _ : state) {
        char* text = nullptr;
        benchmark::DoNotOptimize(asprintf(&text, "connection %d of %s accepted\n", 7, "plant-network"));
        benchmark::DoNotOptimize(text);
        free(text);
    }
}

void appendOurs(benchmark::State& state) {
    for (auto _ : state) {
        AppendBufControl text;
        InitAppendBufControl(&text, 1024, 128);
        for (int i = 0; i < kPieces; ++i) {
            AppendBuf(&text, "tag %d = %s;", i, "closed");
        }
        benchmark::DoNotOptimize(text.buffer);
        free(text.buffer);
    }
}

#ifdef KT_BENCH_GLIB
void appendGString(benchmark::State& state) {
    for (auto _ : state) {
        GString* text = g_string_new(nullptr);
        for (int i = 0; i < kPieces; ++i) {
            g_string_append_printf(text, "tag %d = %s;", i, "closed");
        }
        benchmark::DoNotOptimize(text->str);
        g_string_free(text, TRUE);
    }
}
#endif

using BoundedCopy = size_t (*)(char*, const char*, size_t);

// The source lies on the heap, away from what the loop writes: a vector load over bytes just stored by the
// loop's own frame would be measured instead.
void boundedCopy(benchmark::State& state, BoundedCopy copy) {
    std::vector<char> source(static_cast<size_t>(state.range(0)) + 1, 'x');
    source.back() = '\0';
    char target[2048];
    for (auto _ : state) {
        memcpy(target, "prefix: ", 9);
        benchmark::DoNotOptimize(copy(target, source.data(), sizeof target));
        benchmark::ClobberMemory();
    }
}

// A text with `piece` at the end of every twenty characters.
std::string textWith(const char* piece, int64_t length) {
    std::string text;
    while (text.size() < static_cast<size_t>(length)) {
        text.append(20 - strlen(piece), 'x').append(piece);
    }
    return text;
}

void replaceOurs(benchmark::State& state, const char* to) {
    const std::string text = textWith("&", state.range(0));
    for (auto _ : state) {
        char* result = strreplacex(text.c_str(), "&", to);
        benchmark::DoNotOptimize(result);
        free(result);
    }
}

void replaceString(benchmark::State& state, const char* to) {
    const std::string text = textWith("&", state.range(0));
    const size_t toLength = strlen(to);
    for (auto _ : state) {
        std::string result = text;
        for (size_t at = result.find("&"); at != std::string::npos; at = result.find("&", at + toLength)) {
            result.replace(at, 1, to);
        }
        benchmark::DoNotOptimize(result.data());
    }
}

// Every deletion creates the next occurrence, up to an empty text: the worst case.
void stripOurs(benchmark::State& state) {
    const auto half = static_cast<size_t>(state.range(0)) / 2;
    const std::string text = std::string(half, 'a') + std::string(half, 'b');
    std::vector<char> work(text.size() + 1);
    for (auto _ : state) {
        memcpy(work.data(), text.c_str(), work.size());
        benchmark::DoNotOptimize(strstrip(work.data(), "ab"));
    }
}

void removeOurs(benchmark::State& state) {
    const std::string text = textWith("&", state.range(0));
    std::vector<char> work(text.size() + 1);
    for (auto _ : state) {
        memcpy(work.data(), text.c_str(), work.size());
        benchmark::DoNotOptimize(strremove(work.data(), '&'));
    }
}

BENCHMARK(formatText)->Name("format/ours");
BENCHMARK(formatAsprintf)->Name("format/asprintf");
BENCHMARK(appendOurs)->Name("append/ours");
#ifdef KT_BENCH_GLIB
BENCHMARK(appendGString)->Name("append/gstring");
#endif
BENCHMARK_CAPTURE(replaceOurs, longer, "&amp;")->Name("replace/ours")->Arg(kShortText)->Arg(kLongText);
BENCHMARK_CAPTURE(replaceString, longer, "&amp;")->Name("replace/string")->Arg(kShortText)->Arg(kLongText);
BENCHMARK_CAPTURE(replaceOurs, same, "+")->Name("replace_same/ours")->Arg(kShortText);
BENCHMARK_CAPTURE(replaceString, same, "+")->Name("replace_same/string")->Arg(kShortText);
BENCHMARK(stripOurs)->Name("strip/ours")->Arg(kShortText)->Arg(kLongText);
BENCHMARK(removeOurs)->Name("remove/ours")->Arg(kShortText)->Arg(kLongText);

void registerCopies(const char* name, BoundedCopy copy) {
    benchmark::RegisterBenchmark(name, boundedCopy, copy)->Arg(8)->Arg(64)->Arg(1000);
}

// Both libraries export the same names: linking the other one would leave only one function of each pair.
const bool registered = [] {
    registerCopies("strlcpy/ours", strlcpy);
    registerCopies("strlcat/ours", strlcat);
#ifdef KT_BENCH_LIBBSD
    void* libbsd = dlopen("libbsd.so.0", RTLD_NOW | RTLD_LOCAL);
    auto* const copy = reinterpret_cast<BoundedCopy>(libbsd == nullptr ? nullptr : dlsym(libbsd, "strlcpy"));
    auto* const append =
        reinterpret_cast<BoundedCopy>(libbsd == nullptr ? nullptr : dlsym(libbsd, "strlcat"));
    if (copy != nullptr && copy != strlcpy && append != nullptr && append != strlcat) {
        registerCopies("strlcpy/libbsd", copy);
        registerCopies("strlcat/libbsd", append);
    }
#endif
    return true;
}();

}  // namespace
