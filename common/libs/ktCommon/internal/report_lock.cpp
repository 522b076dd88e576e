#include "internal/report_lock.h"

#include <pthread.h>
#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <ctime>

#include "internal/fatal_report.h"
#include "internal/thread_id.h"

namespace kt {
namespace {

pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
std::atomic<pid_t> owner;  // kernel thread id, 0: none

pid_t self() {
    return currentThreadId().thread;
}

bool lock() {
    if (!fatal::isReporter()) {
        return pthread_mutex_lock(&mutex) == 0;
    }
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds kLimit{100};
    const timespec nap = {0, 1'000'000};
    for (const Clock::time_point end = Clock::now() + kLimit; Clock::now() < end; nanosleep(&nap, nullptr)) {
        if (pthread_mutex_trylock(&mutex) == 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

ReportLock::ReportLock() : nested_(owner == self()), locked_(!nested_ && lock()) {
    owner = self();
}

ReportLock::~ReportLock() {
    // A fatal report that has not got it does not give it back: the process ends.
    if (locked_ && owner == self()) {
        owner = 0;
        pthread_mutex_unlock(&mutex);
    }
}

bool ReportLock::reset() {
    pthread_mutex_init(&mutex, nullptr);
    return owner.exchange(0) != 0;
}

}  // namespace kt
