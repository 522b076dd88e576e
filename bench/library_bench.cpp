// What the library's start costs a daemon, its fixed pause apart, against the shell commands that it cannot do
// without. Only in a virtual unit: elsewhere the manufacturing file is missing, and the start asks for a reboot.
#include <benchmark/benchmark.h>
#include <ktcommon.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kPause{300};

constexpr char kStarter[] = "/tmp/kt-start";

double secondsOf(bool (*body)()) {
    const Clock::time_point start = Clock::now();
    return body() ? std::chrono::duration<double>(Clock::now() - start).count() : -1;
}

bool startLibrary() {
    return libraryInit(nullptr) == 0 && g_threadIdDebugListener != 0;
}

bool runCommands() {
    const char* const name =
        "/bin/ps -p $PPID | /bin/grep $PPID | /usr/bin/cut -d ':' -f 3 | /usr/bin/cut -d ' ' -f 2";
    const char* const commands[] = {"/usr/local/bin/rax -r -m",
                                    "grep Processor /proc/cpuinfo | sed -n 's/.*: //p'", name, name,
                                    "/bin/pidof kt-start"};
    char output[256];
    for (const char* command : commands) {
        FILE* stream = popen(command, "re");
        while (stream != nullptr && fgets(output, sizeof output, stream) != nullptr) {}
        if (stream == nullptr || pclose(stream) != 0) {
            return false;
        }
    }
    return true;
}

// A start counts once in a process, and the name of this one is taken: the program runs itself under another
// name, with an argument that tells which of the two to do.
[[maybe_unused]] const bool isStarter = [] {
    if (strcmp(program_invocation_name, kStarter) == 0) {
        const double seconds =
            getenv("KT_OURS") != nullptr ? secondsOf(startLibrary) : secondsOf(runCommands);
        _exit(write(STDOUT_FILENO, &seconds, sizeof seconds) == sizeof seconds ? 0 : 1);
    }
    return false;
}();

// Negative when it fails.
double secondsToStart(const char* variable) {
    double seconds = -1;
    const std::string command = std::string(variable) + kStarter;
    FILE* stream = getenv("KT_UNIT_JOURNAL") == nullptr ? nullptr : popen(command.c_str(), "re");
    if (stream != nullptr) {
        (void)!fread(&seconds, sizeof seconds, 1, stream);
        pclose(stream);
    }
    return seconds;
}

void start(benchmark::State& state, const char* variable, double apart) {
    char program[4096] = {};
    (void)!readlink("/proc/self/exe", program, sizeof program - 1);
    if (getenv("KT_UNIT_JOURNAL") != nullptr) {
        unlink(kStarter);
        (void)!symlink(program, kStarter);
    }
    for (auto _ : state) {
        const double seconds = secondsToStart(variable) - apart;
        if (seconds < 0) {
            state.SkipWithError("not in a unit, or failed");
            break;
        }
        state.SetIterationTime(seconds);
    }
}

void startOurs(benchmark::State& state) {
    start(state, "KT_OURS=1 ", std::chrono::duration<double>(kPause).count());
}

void startCommands(benchmark::State& state) {
    start(state, "", 0);
}

BENCHMARK(startOurs)->Name("start/ours")->UseManualTime()->Iterations(1);
BENCHMARK(startCommands)->Name("start/commands")->UseManualTime()->Iterations(1);

}  // namespace
