#include "random.h"

#include <sys/random.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <random>

#include "guards.h"

namespace {

// One word per thread; the usual mt19937 would take 2.5 KB of every thread's stack, and back-off times are
// no better for it.
using Generator = std::minstd_rand;

// Never waits for the kernel's entropy: a daemon may start before there is any.
unsigned makeSeed() {
    unsigned seed = 0;
    if (getrandom(&seed, sizeof seed, GRND_NONBLOCK) == sizeof seed) {
        return seed;
    }
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<unsigned>(now.tv_nsec) * 31U + static_cast<unsigned>(syscall(SYS_gettid));
}

Generator& threadGenerator() {
    thread_local Generator generator;
    thread_local pid_t seededBy = 0;
    const pid_t self = getpid();
    if (seededBy != self) {
        generator.seed(makeSeed());
        seededBy = self;
    }
    return generator;
}

}  // namespace

int getRandomInt(int low, int high) {
    const kt::siblings::CallGuard guard;
    const auto [least, most] = std::minmax(low, high);
    return std::uniform_int_distribution<int>(least, most)(threadGenerator());
}
