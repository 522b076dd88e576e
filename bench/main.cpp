// Every daemon has threads, and the C library omits its atomic instructions in a process that never had a
// second one: an idle thread keeps the comparison honest.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <thread>

int main(int argc, char** argv) {
    std::thread([] {
        for (;;) {
            pause();
        }
    }).detach();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
