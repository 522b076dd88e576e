#include <dlfcn.h>
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <malloc.h>
#include <sys/resource.h>

#include "support/cancellable_thread.h"
#include "support/debug_lines.h"
#include "support/files.h"
#include "support/heap_requests.h"

[[maybe_unused]] static const int lineBuffered = setvbuf(stdout, nullptr, _IOLBF, 0);
static sem_t scanNow;
static sem_t scanDone;
static std::atomic<unsigned> refusedCreations;  // the next one is bit 0

// In place of the library's: the watcher scans when it is told to.
extern "C" KT_API int sleep_s(unsigned seconds) {
    EXPECT_TRUE(seconds == 3 && kt::test::hasSignalStack());
    sem_post(&scanDone);
    return sem_wait(&scanNow);
}

extern "C" KT_API int pthread_create(pthread_t* id, const pthread_attr_t* attributes, void* (*start)(void*),
                                     void* arg) noexcept {
    static const auto real = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    const unsigned refused = refusedCreations;
    refusedCreations = refused >> 1;
    return (refused & 1) != 0 ? EAGAIN : real(id, attributes, start, arg);
}

namespace {

using kt::test::printedBy;
using kt::test::until;

std::string text(pthread_t id) {
    char digits[32];
    snprintf(digits, sizeof digits, "0x%04lx", id);
    return digits;
}

// Bytes of the heap, and a page for each mapping; 0 under a sanitizer, which has memory of its own.
size_t memoryInUse() {
    const std::string maps = kt::test::contentsOf("/proc/self/maps");
    const auto mappings = std::count(maps.begin(), maps.end(), '\n');
    return kHeapRefuses ? mallinfo2().uordblks + 4096 * static_cast<size_t>(mappings) : 0;
}
constexpr size_t kNoise = 250000;

// A pool whose workers stay until one is told to end.
struct Pool {
    std::atomic<int> started{0};
    std::atomic<pthread_t> latest{0};
    sem_t go = {};
    void (*end)() = [] {};
    THREAD_POOL* pool = nullptr;

    static void* work(void* arg) {
        auto& self = *static_cast<Pool*>(arg);
        EXPECT_TRUE(kt::test::hasSignalStack());
        self.latest = pthread_self();
        ++self.started;
        sem_wait(&self.go);
        self.end();
        return arg;
    }
    Pool() { scanNow = scanDone = {}; }
    bool create(int count) { return (pool = tpCreate(count, work, this)) != nullptr; }
    // A record that tpCreate has not made.
    void make() {
        pool = static_cast<THREAD_POOL*>(malloc(sizeof(THREAD_POOL)));
        *pool = {0, 1, static_cast<pthread_t*>(calloc(1, sizeof(pthread_t))), work, this};
        const auto waitToGo = [](void* self) { return sem_wait(&static_cast<Pool*>(self)->go), self; };
        pthread_create(pool->threads, nullptr, waitToGo, this);
        latest = pool->threads[0];
        const auto watch = [](void* made) { return tpWatcher(static_cast<THREAD_POOL*>(made)); };
        pthread_create(&pool->watcher, nullptr, watch, pool);
    }
    // The workers end after the pool. waiter: a thread in tpWait.
    void cancel(std::thread waiter = {}) {
        const std::vector<pthread_t> workers(pool->threads, pool->threads + pool->count);
        const pthread_t watcher = pool->watcher;
        EXPECT_EQ(tpCancel(pool), 0);
        waiter.joinable() ? waiter.join() : static_cast<void>(pthread_join(watcher, nullptr));
        end = [] {};
        std::for_each(workers.begin(), workers.end(), [this](pthread_t) { sem_post(&go); });
        for (const pthread_t worker : workers) {
            void* result = nullptr;
            pthread_join(worker, &result);
            EXPECT_EQ(result, this);
        }
    }
};

TEST(ThreadPool, StartsNothingThatItCannotSupervise) {
    Pool pool;
    refusedCreations = 0b100;  // the watcher
    const std::string printed = printedBy([&pool] {
        EXPECT_FALSE(pool.create(0) || pool.create(-1) || pool.create(INT_MIN));
        EXPECT_TRUE(!tpCreate(4, nullptr, &pool) && !tpCreate(4, Pool::work, nullptr) && !tpWatcher(nullptr));
        for (int grants = 0; kHeapRefuses && grants < 4; ++grants) {
            EXPECT_FALSE(withHeapGrants(grants, [&pool] { return pool.create(2); })) << grants;
        }
        EXPECT_TRUE(tpWait(nullptr) == -1 && tpCancel(nullptr) == -1);
        tpWatcherCleanup(nullptr);
    });
    EXPECT_EQ(printed, "tpWatcher: Starting\ntpWatcher: Canceling\n");
    EXPECT_EQ(refusedCreations, 0b100U);
    const size_t usedBefore = memoryInUse();
    for (int round = 0; round < 50; ++round) {
        refusedCreations = 0b100;
        EXPECT_FALSE(pool.create(2) || refusedCreations != 0);
    }
    EXPECT_EQ(pool.started, 0);
    EXPECT_LT(memoryInUse(), usedBefore + kNoise);
}

TEST(ThreadPool, ScansFillEmptySlots) {
    std::string expected;
    const std::string restarting = "tpWatcher: Watching 2 threads\n  >> *** tpWatcher: restarting 0x0000\n";
    const std::string printed = printedBy([&] {
        Pool pool;
        refusedCreations = 0b1001;  // the first worker, and its first replacement
        pool.create(2);
        sem_wait(&scanDone);
        const std::string watcher = text(pool.pool->watcher);
        expected = "tpCreate: Starting 2 threads\ntpCreate: Started: 0x0000, " + text(pool.pool->threads[1]) +
                   ", \ntpCreate: Starting Watcher\ntpCreate: Watcher: " + watcher +
                   "\ntpWatcher: Starting\n" + restarting + restarting + "Waiting on " + watcher +
                   "\nCancelling " + watcher + "\ntpWatcher: Canceling\n";
        sem_post(&scanNow);
        sem_wait(&scanDone);
        until([&] { return pool.started == 2; });
        const off_t before = lseek(STDOUT_FILENO, 0, SEEK_CUR);
        std::thread waiter([&] { EXPECT_EQ(tpWait(pool.pool), 0); });
        until([before] { return lseek(STDOUT_FILENO, 0, SEEK_CUR) != before; });
        pool.cancel(std::move(waiter));
    });
    EXPECT_EQ(printed, expected);
}

TEST(ThreadPool, EarlyCancellationLosesNothing) {
    for (int round = 0; round < 50; ++round) {
        Pool pool;
        ASSERT_TRUE(pool.create(3));
        pool.cancel();
    }
}

void restartWorkers(int rounds) {
    void (*const ends[])() = {
        [] {},
        [] { pthread_exit(nullptr); },
        [] { pthread_cancel(pthread_self()), pthread_testcancel(); },
        [] { pthread_detach(pthread_self()); },
        [] { pthread_detach(pthread_self()), pthread_exit(nullptr); },
        [] { pthread_detach(pthread_self()), pthread_cancel(pthread_self()), pthread_testcancel(); }};
    const std::string scan = "tpWatcher: Watching 1 threads\n";
    Pool pool;
    pool.make();
    sem_wait(&scanDone);
    size_t usedAtFirst = 0;
    for (int restart = 0; restart < 6 * rounds; ++restart) {
        until([&] { return pool.started == restart; });
        const std::string line = "  >> *** tpWatcher: restarting " + text(pool.latest) + "\n";
        pool.end = ends[restart % 6];
        std::string printed = printedBy([&] {
            for (sem_post(&pool.go); pool.started == restart; sem_wait(&scanDone)) { sem_post(&scanNow); }
        });
        for (size_t at; (at = printed.find(scan)) != std::string::npos;) { printed.erase(at, scan.size()); }
        ASSERT_EQ(printed, line) << restart;
        ASSERT_EQ(pool.pool->threads[0], pool.latest) << restart;
        usedAtFirst = restart == 12 ? memoryInUse() : usedAtFirst;
    }
    EXPECT_LT(memoryInUse(), usedAtFirst + kNoise);
    pool.cancel();
}

TEST(ThreadPool, ReplacesWorkersHoweverTheyEnd) { restartWorkers(20); }

TEST(ThreadPool, DISABLED_soakRestarts) { restartWorkers(2000); }

TEST(ThreadPool, PriorityIsTheCallingThreadsOwn) {
    const int own = getpriority(PRIO_PROCESS, 0);
    std::thread([own] {
        const std::string tid = std::to_string(gettid());
        const std::tuple<int, int, int, int, std::string> cases[] = {
            {SCHED_FIFO, 0, 22, own, "SetThreadPriority, pthread_setschedparam failed with rc=22\n"},
            {SCHED_OTHER, 10, 0, 10, ""},
            {SCHED_BATCH, 4, -1, 10,
             "SetThreadPriority, setpriority failed with rc=-1, nicePriority=4, tid=" + tid + "\n"}};
        for (const auto& [policy, nice, result, effective, line] : cases) {
            const auto call = [p = policy, n = nice, r = result] { EXPECT_EQ(SetThreadPriority(p, n), r); };
            EXPECT_EQ(kt::test::debugLinesOf(call), line);
            EXPECT_EQ(getpriority(PRIO_PROCESS, 0), effective);
            EXPECT_EQ(sched_getscheduler(0), result == 22 ? SCHED_OTHER : policy);
        }
    }).join();
    EXPECT_EQ(getpriority(PRIO_PROCESS, 0), own);
}

}  // namespace
