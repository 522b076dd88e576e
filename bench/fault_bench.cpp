// Reports of failed assertions against what they cannot do without, and whole fault reports of dying processes.
#include <benchmark/benchmark.h>
#include <execinfo.h>
#include <fcntl.h>
#include <ktcommon.h>
#include <logging.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <string>

// The log is a gateway's disk: its cost is not the library's.
void logStackTrace(const char*) {}

// A descent of as many C and C++ functions.
namespace plant {
class KT_API Pump {
  public:
    static void descend(int times, void (*act)());
};
}  // namespace plant

static volatile int keptFrames;

extern "C" KT_API __attribute__((noinline)) void descendInC(int times, void (*act)()) {
    plant::Pump::descend(times - 1, act);
    keptFrames = 1;  // a function that ends with a call would lose its frame to it
}

__attribute__((noinline)) void plant::Pump::descend(int times, void (*act)()) {
    times > 0 ? descendInC(times - 1, act) : act();
    keptFrames = 2;
}

namespace {

constexpr int kDepth = 20;
constexpr int kMaxFrames = 64;

// Standard error is /dev/null while an object of this lives.
class QuietStderr {
  public:
    QuietStderr() : saved_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
        const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(null, STDERR_FILENO);
        close(null);
    }
    ~QuietStderr() {
        dup2(saved_, STDERR_FILENO);
        close(saved_);
    }
    QuietStderr(const QuietStderr&) = delete;
    QuietStderr& operator=(const QuietStderr&) = delete;

  private:
    int saved_;
};

benchmark::State* running;

void assertRepeatedly() {
    for (auto _ : *running) {
        AssertBackTrace("0 == rc", "plant.cpp", __LINE__, "pump FAILED");
    }
}

// The lines of the frames in one text, written at once.
void writeSymbols() {
    void* frames[kMaxFrames];
    const int count = backtrace(frames, kMaxFrames);
    char** const texts = backtrace_symbols(frames, count);
    std::string report;
    for (int i = 0; texts != nullptr && i < count; ++i) {
        report.append(texts[i]).append("\n");
    }
    benchmark::DoNotOptimize(write(STDERR_FILENO, report.data(), report.size()));
    free(texts);
}

void writeSymbolsRepeatedly() {
    for (auto _ : *running) {
        writeSymbols();
    }
}

void measure(benchmark::State& state, void (*repeatedly)()) {
    const QuietStderr quiet;
    running = &state;
    plant::Pump::descend(kDepth, repeatedly);
}

BENCHMARK_CAPTURE(measure, ours, assertRepeatedly)->Name("assertion/ours");
BENCHMARK_CAPTURE(measure, symbols, writeSymbolsRepeatedly)->Name("assertion/backtrace_symbols");

double secondsOf(const rusage& usage) {
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void die() {
    const volatile int* volatile nowhere = nullptr;
    keptFrames = *nowhere;  // NOLINT(clang-analyzer-core.NullDereference)
}

void beBusyForAMillisecond() {
    timespec now = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    const long end = now.tv_nsec + 1000000;
    while (now.tv_sec == 0 && now.tv_nsec < end) {
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    }
    _exit(SIGSEGV);
}

// The processor time that a child of ours spends on its end. Negative if it ends in another way than by `exit`.
double secondsOfEnd(void (*end)()) {
    int before[2];
    if (pipe2(before, O_CLOEXEC) != 0) {
        return -1;
    }
    const auto descend = [&] {
        rusage usage = {};
        getrusage(RUSAGE_SELF, &usage);
        const double seconds = secondsOf(usage);
        write(before[1], &seconds, sizeof seconds);
        plant::Pump::descend(kDepth, end);
    };
    const pid_t child = fork();
    if (child == 0) {
        descend();
    }
    double start = 0;
    int status = 0;
    rusage usage = {};
    const bool isComplete = read(before[0], &start, sizeof start) == sizeof start &&
                            wait4(child, &status, 0, &usage) == child && WEXITSTATUS(status) == SIGSEGV;
    close(before[0]);
    close(before[1]);
    return isComplete ? secondsOf(usage) - start : -1;
}

void measureEnd(benchmark::State& state, void (*end)()) {
    [[maybe_unused]] static const int installed = InitSigHandlers();
    const QuietStderr quiet;
    for (auto _ : state) {
        const double seconds = secondsOfEnd(end);
        if (seconds < 0) {
            state.SkipWithError("the child did not end with its signal's number");
            break;
        }
        state.SetIterationTime(seconds);
    }
}

BENCHMARK_CAPTURE(measureEnd, ours, die)->Name("fault/ours")->UseManualTime();
BENCHMARK_CAPTURE(measureEnd, busy, beBusyForAMillisecond)->Name("fault/busy")->UseManualTime();

}  // namespace
