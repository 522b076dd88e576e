// Collecting a command's output line by line against draining its pipe in blocks.
#include <benchmark/benchmark.h>
#include <ktcommon.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr size_t kMegabyte = 1000000;
constexpr size_t kLineLength = 80;

// A file of whole lines in the temporary directory, and the command that prints it.
class Lines {
  public:
    explicit Lines(size_t size) {
        const int fd = mkstemp(path_);
        FILE* file = fd < 0 ? nullptr : fdopen(fd, "we");
        const std::string line = std::string(kLineLength - 1, 'x') + "\n";
        for (size_t written = 0; file != nullptr && written < size; written += line.size()) {
            fputs(line.c_str(), file);
        }
        if (file != nullptr) {
            fclose(file);
        }
    }
    ~Lines() { unlink(path_); }
    Lines(const Lines&) = delete;
    Lines& operator=(const Lines&) = delete;

    std::string command() const { return std::string("cat ") + path_; }

  private:
    char path_[32] = "/tmp/kt_bench_XXXXXX";
};

size_t drain(const char* command, char* output, size_t size, size_t block) {
    FILE* stream = popen(command, "re");
    if (stream == nullptr) {
        return 0;
    }
    size_t used = 0;
    size_t got = 1;
    while (got > 0 && used + block <= size) {
        got = fread(output + used, 1, block, stream);
        used += got;
    }
    pclose(stream);
    return used;
}

void captureOurs(benchmark::State& state) {
    const size_t size = static_cast<size_t>(state.range(0)) * kMegabyte;
    const Lines lines(size);
    const std::string command = lines.command();
    std::vector<char> output(size + kMegabyte);
    for (auto _ : state) {
        const int length = systemBufferEcho(command.c_str(), nullptr, output.data(), output.size());
        if (length != static_cast<int>(size)) {
            state.SkipWithError("output is incomplete");
            break;
        }
    }
}

void capturePopen(benchmark::State& state) {
    const size_t size = static_cast<size_t>(state.range(0)) * kMegabyte;
    const auto block = static_cast<size_t>(state.range(1));
    const Lines lines(size);
    const std::string command = lines.command();
    std::vector<char> output(size + kMegabyte);
    for (auto _ : state) {
        if (drain(command.c_str(), output.data(), output.size(), block) != size) {
            state.SkipWithError("output is incomplete");
            break;
        }
    }
}

// Real time: most of it passes in the command's own processes.
BENCHMARK(captureOurs)->Name("echo/ours")->Arg(1)->Arg(10)->UseRealTime();
BENCHMARK(capturePopen)->Name("echo/popen")->Args({1, 4096})->Args({1, 65536})->UseRealTime();

}  // namespace
