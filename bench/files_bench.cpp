// Whole files read against GLib's reader, the lines of a log inverted against the tool that does it.
#include <benchmark/benchmark.h>
#include <ktcommon.h>
#include <malloc.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#ifdef KT_BENCH_GLIB
#include <glib.h>
#endif

namespace {

constexpr int kMegabyte = 1000000;

// Large blocks are new pages every time, as a daemon's first are; the allocator would keep those of 10 MB for
// the next turn, but not those of 100 MB.
[[maybe_unused]] const int kNewPages = mallopt(M_MMAP_THRESHOLD, 4 * kMegabyte);

// A file of lines of 40 to 120 bytes.
class Log {
  public:
    explicit Log(size_t size) : size_(size) {
        std::string text;
        while (text.size() < size) {
            text.append(40 + text.size() % 81, 'x').back() = '\n';
        }
        filePutContentsBin(path_, text.data(), size);
    }
    ~Log() { unlink(path_); }
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    const char* path() const { return path_; }
    size_t size() const { return size_; }

  private:
    static constexpr char path_[] = "/tmp/kt_bench_log";
    size_t size_;
};

// False when it went wrong.
template <bool (*call)(const Log&)>
void withLog(benchmark::State& state) {
    const Log log(static_cast<size_t>(state.range(0)));
    for (auto _ : state) {
        if (!call(log)) {
            state.SkipWithError("failed");
            break;
        }
    }
}

bool readOurs(const Log& log) {
    int size = 0;
    char* block = fileGetContents(log.path(), &size);
    free(block);
    return static_cast<size_t>(size) == log.size();
}

#ifdef KT_BENCH_GLIB
bool readGlib(const Log& log) {
    char* block = nullptr;
    gsize size = 0;
    g_file_get_contents(log.path(), &block, &size, nullptr);
    g_free(block);
    return size == log.size();
}
#endif

bool invertOurs(const Log& log) {
    char* result = nullptr;
    const bool isDone = invertFile(log.path(), UINT_MAX, &result) == 0;
    free(result);
    return isDone;
}

bool invertTac(const Log& log) {
    return system((std::string("exec tac ") + log.path() + " > /dev/null").c_str()) == 0;
}

BENCHMARK(withLog<readOurs>)->Name("read/ours")->Arg(4096)->Arg(kMegabyte)->Arg(10 * kMegabyte);
#ifdef KT_BENCH_GLIB
BENCHMARK(withLog<readGlib>)->Name("read/glib")->Arg(4096)->Arg(kMegabyte)->Arg(10 * kMegabyte);
#endif
// Real time: the tool's passes in a process of its own.
BENCHMARK(withLog<invertOurs>)->Name("invert/ours")->Arg(10 * kMegabyte)->Arg(100 * kMegabyte)->UseRealTime();
BENCHMARK(withLog<invertTac>)->Name("invert/tac")->Arg(100 * kMegabyte)->UseRealTime();

}  // namespace
