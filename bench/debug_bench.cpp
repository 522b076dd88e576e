// Debug calls: switched off, against the cheapest call there is; switched on, against the system calls that
// they need.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <ktcommon.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "empty_call.h"
#ifdef KT_BENCH_SPDLOG
#include <spdlog/spdlog.h>
#endif

namespace {

// Standard output is fd while an object of this lives; the program's reports go elsewhere in between.
class StdoutTo {
  public:
    explicit StdoutTo(int fd) : saved_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)) {
        fflush(stdout);
        dup2(fd, STDOUT_FILENO);
        close(fd);
    }
    ~StdoutTo() {
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
    }
    StdoutTo(const StdoutTo&) = delete;
    StdoutTo& operator=(const StdoutTo&) = delete;

  private:
    int saved_;
};

int openNull() {
    return open("/dev/null", O_WRONLY | O_CLOEXEC);
}

void writeDebugLine() {
    __debug(__LINE__, "connection %d of %s accepted\n", 7, "plant-network");
}

// The bytes of such a line, taken from the library itself.
std::string captureDebugLine() {
    const int memory = memfd_create("line", MFD_CLOEXEC);
    const int kept = fcntl(memory, F_DUPFD_CLOEXEC, 0);
    {
        const StdoutTo redirected(memory);
        gDebugMode = DEBUG_GENERAL;
        writeDebugLine();
        gDebugMode = 0;
    }
    char line[256];
    const ssize_t length = pread(kept, line, sizeof line, 0);
    close(kept);
    return std::string(line, length < 0 ? 0 : static_cast<size_t>(length));
}

bool appendTo(const char* path, const std::string& bytes) {
    const int fd = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    const bool written =
        fd >= 0 && write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    close(fd);
    return written;
}

void offOurs(benchmark::State& state) {
    gDebugMode = 0;
    for (auto _ : state) {
        __debug(__LINE__, "connection %d of %s accepted\n", 7, "plant-network");
    }
}

void offEmptyCall(benchmark::State& state) {
    for (auto _ : state) {
        emptyCall(__LINE__, "connection %d of %s accepted\n", 7, "plant-network");
    }
}

#ifdef KT_BENCH_SPDLOG
void offSpdlog(benchmark::State& state) {
    spdlog::set_level(spdlog::level::info);
    for (auto _ : state) {
        spdlog::debug("connection {} of {} accepted", 7, "plant-network");
    }
}
#endif

void lineOurs(benchmark::State& state) {
    const StdoutTo null(openNull());
    gDebugMode = DEBUG_GENERAL;
    for (auto _ : state) {
        writeDebugLine();
    }
    gDebugMode = 0;
}

void lineWrite(benchmark::State& state) {
    const std::string line = captureDebugLine();
    const StdoutTo null(openNull());
    for (auto _ : state) {
        benchmark::DoNotOptimize(write(STDOUT_FILENO, line.data(), line.size()));
    }
}

// Both begin with an empty file in the same directory.
void fileOurs(benchmark::State& state) {
    const StdoutTo null(openNull());
    _debugSetFileName("bench");
    unlink(gDebugFileName);
    gDebugMode = DEBUG_GENERAL | DEBUG_FILE;
    for (auto _ : state) {
        writeDebugLine();
    }
    gDebugMode = 0;
    if (unlink(gDebugFileName) != 0) {
        state.SkipWithError("no debug file: run in the unit");
    }
}

void fileWrite(benchmark::State& state) {
    const std::string line = captureDebugLine();
    const StdoutTo null(openNull());
    _debugSetFileName("peer");
    unlink(gDebugFileName);
    for (auto _ : state) {
        benchmark::DoNotOptimize(write(STDOUT_FILENO, line.data(), line.size()));
        if (!appendTo(gDebugFileName, line)) {
            state.SkipWithError("no debug file: run in the unit");
            break;
        }
    }
    unlink(gDebugFileName);
}

BENCHMARK(offOurs)->Name("off/ours");
BENCHMARK(offEmptyCall)->Name("off/empty_call");
#ifdef KT_BENCH_SPDLOG
BENCHMARK(offSpdlog)->Name("off/spdlog");
#endif
BENCHMARK(lineOurs)->Name("line/ours");
BENCHMARK(lineWrite)->Name("line/write");
BENCHMARK(fileOurs)->Name("file/ours");
BENCHMARK(fileWrite)->Name("file/write");

}  // namespace
