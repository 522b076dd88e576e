// Events against the same flag made of the standard library's mutex and condition variable; thread-unique data
// and atomics against the C library and the compiler.
#include <benchmark/benchmark.h>
#include <ktcommon.h>
#include <sched.h>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace {

class OurEvent {
  public:
    OurEvent() { initEvent(&event_, "bench"); }
    ~OurEvent() { destroyEvent(&event_); }
    OurEvent(const OurEvent&) = delete;
    OurEvent& operator=(const OurEvent&) = delete;

    void set() { setEvent(&event_); }
    void reset() { resetEvent(&event_); }
    void wait() { event_wait(&event_); }

  private:
    EVENT event_;
};

class BareEvent {
  public:
    void set() {
        store(true);
        changed_.notify_all();
    }
    void reset() { store(false); }
    void wait() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return isSet_; });
    }

  private:
    void store(bool isSet) {
        const std::lock_guard<std::mutex> lock(mutex_);
        isSet_ = isSet;
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    bool isSet_ = false;
};

template <class Event>
void setAndReset(benchmark::State& state) {
    Event event;
    for (auto _ : state) {
        event.set();
        event.reset();
    }
}

void askOurs(benchmark::State& state) {
    EVENT event;
    initEvent(&event, "bench");
    for (auto _ : state) {
        benchmark::DoNotOptimize(isEventSet(&event));
    }
    destroyEvent(&event);
}

void lockMutex(benchmark::State& state) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    for (auto _ : state) {
        pthread_mutex_lock(&mutex);
        pthread_mutex_unlock(&mutex);
    }
}

// One entry, the calling thread's. No daemon's start has been here to make the list's lock.
void findThreadData(benchmark::State& state) {
    initMutex(&gThreadDataLock, nullptr, "THREAD_DATA");
    createThreadUniqueData(64);
    for (auto _ : state) {
        benchmark::DoNotOptimize(getThreadUniqueData());
    }
    deleteThreadUniqueData();
    destroyMutex(&gThreadDataLock);
}

// Both are called for each addition, as a daemon does with a counter of its own behind a function.
__attribute__((noinline)) int addByBuiltin(int* target, int delta) {
    return __atomic_fetch_add(target, delta, __ATOMIC_SEQ_CST);
}

template <int (*add)(int*, int)>
void addAtomically(benchmark::State& state) {
    alignas(64) static int sum;  // nothing else of its cache line is written
    for (auto _ : state) {
        benchmark::DoNotOptimize(add(&sum, 5));
    }
}

// The calling thread, and those that it starts meanwhile, keep to the processor that it is on.
class OneProcessor {
  public:
    OneProcessor() {
        sched_getaffinity(0, sizeof before_, &before_);
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<size_t>(sched_getcpu()), &one);
        isPinned_ = sched_setaffinity(0, sizeof one, &one) == 0;
    }
    ~OneProcessor() { sched_setaffinity(0, sizeof before_, &before_); }
    OneProcessor(const OneProcessor&) = delete;
    OneProcessor& operator=(const OneProcessor&) = delete;

    bool isPinned() const { return isPinned_; }

  private:
    cpu_set_t before_;
    bool isPinned_;
};

// Two threads wake each other in turn: an iteration is two wake-ups.
template <class Event>
void wakeUp(benchmark::State& state) {
    const OneProcessor oneProcessor;
    if (!oneProcessor.isPinned()) {
        state.SkipWithError("cannot stay on one processor");
        return;
    }
    Event there;
    Event back;
    bool isOver = false;  // written before there.set()
    std::thread other([&] {
        for (there.wait(); !isOver; there.wait()) {
            there.reset();
            back.set();
        }
    });
    for (auto _ : state) {
        there.set();
        back.wait();
        back.reset();
    }
    isOver = true;
    there.set();
    other.join();
}

BENCHMARK(setAndReset<OurEvent>)->Name("set_reset/ours");
BENCHMARK(setAndReset<BareEvent>)->Name("set_reset/std");
BENCHMARK(askOurs)->Name("is_set/ours");
BENCHMARK(lockMutex)->Name("is_set/mutex");
BENCHMARK(findThreadData)->Name("thread_data/ours");
BENCHMARK(lockMutex)->Name("thread_data/mutex");
BENCHMARK(addAtomically<atomic_add>)->Name("add/ours");
BENCHMARK(addAtomically<addByBuiltin>)->Name("add/builtin");
BENCHMARK(wakeUp<OurEvent>)->Name("wake_up/ours")->UseRealTime();
BENCHMARK(wakeUp<BareEvent>)->Name("wake_up/std")->UseRealTime();

}  // namespace
