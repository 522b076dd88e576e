// A command run by systemEx against one run by system.
#include <benchmark/benchmark.h>
#include <ktcommon.h>

#include <cstdlib>

namespace {

template <int (*run)()>
void runCommand(benchmark::State& state) {
    for (auto _ : state) {
        if (run() != 3) {
            state.SkipWithError("no exit code");
            break;
        }
    }
}

int ours() {
    return systemEx("exit %d", 3);
}

int bare() {
    return WEXITSTATUS(system("exit 3"));
}

// Real time: most of it passes in the shell.
BENCHMARK(runCommand<ours>)->Name("command/ours")->UseRealTime()->MinTime(0.3);
BENCHMARK(runCommand<bare>)->Name("command/system")->UseRealTime()->MinTime(0.3);

}  // namespace
