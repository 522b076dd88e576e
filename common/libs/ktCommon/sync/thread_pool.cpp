#include "sync/thread_pool.h"

#include <semaphore.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <optional>

#include "diag/debug.h"
#include "internal/signal_stack.h"
#include "internal/stdout_lock.h"
#include "internal/thread_id.h"
#include "internal/uncancelled.h"
#include "sync/sleep.h"

static_assert(offsetof(THREAD_POOL, watcher) == 0);
static_assert(offsetof(THREAD_POOL, count) == sizeof(pthread_t));
static_assert(offsetof(THREAD_POOL, threads) == sizeof(pthread_t) + sizeof(void*));
static_assert(offsetof(THREAD_POOL, start) == offsetof(THREAD_POOL, threads) + sizeof(void*));
static_assert(offsetof(THREAD_POOL, arg) == offsetof(THREAD_POOL, start) + sizeof(void*));
static_assert(sizeof(THREAD_POOL) == offsetof(THREAD_POOL, arg) + sizeof(void*));
static_assert(sizeof(void*) != 4 || sizeof(THREAD_POOL) == 20);
// Where the array of ids has been had, that of as many pointers cannot overflow.
static_assert(sizeof(pthread_t) == sizeof(void*));

namespace {

constexpr unsigned kScanInterval = 3;

KT_PRINTF(1, 2) void print(const char* fmt, ...) {
    const kt::Uncancelled uncancelled;
    const kt::StdoutLock lock;
    va_list ap;
    va_start(ap, fmt);
    vprintf(fmt, ap);
    va_end(ap);
}

unsigned long printable(pthread_t id) {
    return static_cast<unsigned long>(id);
}

enum class State { kRunning, kEndedJoinable, kEndedDetached };

// What the pool and the thread share of one worker. Both own it, because either can be the first to go.
struct Worker {
    explicit Worker(const THREAD_POOL& pool) : start(pool.start), arg(pool.arg) {
        sem_init(&admission, 0, 0);
    }
    ~Worker() { sem_destroy(&admission); }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    void* (*const start)(void*);
    void* const arg;
    sem_t admission;
    bool isCalledOff = false;
    std::optional<kt::SignalStack> signalStack;
    std::atomic<State> state{State::kRunning};
    std::atomic<int> owners{2};
};

void letGo(Worker* worker) {
    if (worker != nullptr && worker->owners.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete worker;
    }
}

// To be asked at the very end, since a thread may detach itself at any time before. Nobody may touch the id
// of a detached thread that has ended; so when there is no memory for the answer it is made certain.
bool isSelfDetached() {
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0) {
        pthread_detach(pthread_self());
        return true;
    }
    int state = PTHREAD_CREATE_JOINABLE;
    pthread_attr_getdetachstate(&attributes, &state);
    pthread_attr_destroy(&attributes);
    return state == PTHREAD_CREATE_DETACHED;
}

void finish(void* argument) {
    auto* worker = static_cast<Worker*>(argument);
    worker->signalStack.reset();
    worker->state = isSelfDetached() ? State::kEndedDetached : State::kEndedJoinable;
    letGo(worker);
}

// A destructor of thread-specific data runs however the thread ends. One on the stack would be skipped where
// the unwinding of pthread_exit or a cancellation meets a daemon's C code without unwind tables.
pthread_key_t makeFinishKey() {
    pthread_key_t key;
    return pthread_key_create(&key, finish) == 0 ? key : PTHREAD_KEYS_MAX;
}

const pthread_key_t finishKey = makeFinishKey();

bool isAdmitted(Worker* worker) {
    const kt::Uncancelled uncancelled;
    while (sem_wait(&worker->admission) != 0) {}
    return !worker->isCalledOff;
}

void* runWorker(void* argument) {
    auto* worker = static_cast<Worker*>(argument);
    if (!isAdmitted(worker)) {
        letGo(worker);
        return nullptr;
    }
    if (pthread_setspecific(finishKey, worker) != 0) {
        finish(worker);
        return nullptr;
    }
    worker->signalStack.emplace();
    void* result = worker->start(worker->arg);
    // finish is not to be interrupted, even if the routine left asynchronous cancellation on.
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    return result;
}

// Reaps the thread if that is due. worker: null for a thread that the pool has not started.
bool hasEnded(pthread_t id, const Worker* worker) {
    if (id == 0) {
        return true;
    }
    const State state = worker == nullptr ? State::kEndedJoinable : worker->state.load();
    if (state != State::kEndedJoinable) {
        return state == State::kEndedDetached;
    }
    // Never a blocking join: what else the thread runs at its end may hang, and the watcher is not to.
    const int rc = pthread_tryjoin_np(id, nullptr);
    return rc == 0 || (worker != nullptr && rc != EBUSY);
}

// The workers of a pool, as its watcher knows them.
class Crew {
  public:
    // Null without memory.
    static std::unique_ptr<Crew> make(THREAD_POOL* pool) {
        std::unique_ptr<Crew> crew(new (std::nothrow) Crew(pool));
        if (crew != nullptr && crew->workers_ == nullptr) {
            crew.reset();
        }
        return crew;
    }
    ~Crew() {
        for (int slot = 0; workers_ != nullptr && slot < size_; ++slot) {
            letGo(workers_[slot]);
        }
    }
    Crew(const Crew&) = delete;
    Crew& operator=(const Crew&) = delete;

    THREAD_POOL* pool() const { return pool_; }

    // Fills the slot with a worker that waits to be admitted; with 0 when none can be created.
    void create(int slot) {
        pthread_t id = 0;
        auto* worker = new (std::nothrow) Worker(*pool_);
        if (worker != nullptr && pthread_create(&id, nullptr, runWorker, worker) != 0) {
            delete worker;
            worker = nullptr;
            id = 0;
        }
        letGo(workers_[slot]);
        workers_[slot] = worker;
        __atomic_store_n(&pool_->threads[slot], id, __ATOMIC_RELAXED);
    }

    void createAll() {
        for (int slot = 0; slot < size_; ++slot) {
            create(slot);
        }
    }

    void admitAll() {
        for (int slot = 0; slot < size_; ++slot) {
            admit(slot);
        }
    }

    // Instead of admitting them.
    void callOff() {
        const kt::Uncancelled uncancelled;
        for (int slot = 0; slot < size_; ++slot) {
            if (workers_[slot] != nullptr) {
                workers_[slot]->isCalledOff = true;
                admit(slot);
                pthread_join(pool_->threads[slot], nullptr);
            }
        }
    }

    void scan() {
        const kt::Uncancelled uncancelled;
        print("tpWatcher: Watching %d threads\n", size_);
        for (int slot = 0; slot < size_; ++slot) {
            const pthread_t id = pool_->threads[slot];
            if (hasEnded(id, workers_[slot])) {
                print("  >> *** tpWatcher: restarting 0x%04lx\n", printable(id));
                create(slot);
                admit(slot);
            }
        }
    }

  private:
    explicit Crew(THREAD_POOL* pool)
        : pool_(pool),
          size_(std::max(pool->count, 0)),
          workers_(new (std::nothrow) Worker* [static_cast<size_t>(size_)] {}) {}

    void admit(int slot) {
        if (workers_[slot] != nullptr) {
            sem_post(&workers_[slot]->admission);
        }
    }

    THREAD_POOL* const pool_;
    const int size_;
    const std::unique_ptr<Worker*[]> workers_;
};

struct FreePool {
    void operator()(THREAD_POOL* pool) const {
        free(pool->threads);
        free(pool);
    }
};

using OwnedPool = std::unique_ptr<THREAD_POOL, FreePool>;

// Null without memory.
OwnedPool allocatePool(int count, void* (*start)(void*), void* arg) {
    const auto size = static_cast<size_t>(count);
    OwnedPool pool(static_cast<THREAD_POOL*>(malloc(sizeof(THREAD_POOL))));
    if (pool == nullptr) {
        return nullptr;
    }
    auto* threads = static_cast<pthread_t*>(reallocarray(nullptr, size, sizeof(pthread_t)));
    *pool = {0, count, threads, start, arg};
    if (threads == nullptr) {
        return nullptr;
    }
    std::fill_n(threads, size, 0);
    return pool;
}

class WatcherCleanup {
  public:
    explicit WatcherCleanup(THREAD_POOL* pool) : pool_(pool) {}
    ~WatcherCleanup() { tpWatcherCleanup(pool_); }
    WatcherCleanup(const WatcherCleanup&) = delete;
    WatcherCleanup& operator=(const WatcherCleanup&) = delete;

  private:
    THREAD_POOL* pool_;
};

[[noreturn]] void supervise(Crew& crew) {
    const kt::SignalStack signalStack;
    const WatcherCleanup cleanup(crew.pool());
    for (;;) {
        crew.scan();
        sleep_s(kScanInterval);
    }
}

void* runWatcher(void* argument) {
    const std::unique_ptr<Crew> crew(static_cast<Crew*>(argument));
    crew->admitAll();
    print("tpWatcher: Starting\n");
    supervise(*crew);
}

void printStarted(const THREAD_POOL& pool) {
    const kt::StdoutLock wholeLine;
    print("tpCreate: Started: ");
    for (int slot = 0; slot < pool.count; ++slot) {
        print("0x%04lx, ", printable(pool.threads[slot]));
    }
    print("\ntpCreate: Starting Watcher\n");
}

// The crew is the watcher's when it has been created.
bool startWatcher(THREAD_POOL* pool, Crew* crew) {
    const kt::StdoutLock beforeItsFirstLine;
    if (pthread_create(&pool->watcher, nullptr, runWatcher, crew) != 0) {
        return false;
    }
    print("tpCreate: Watcher: 0x%04lx\n", printable(pool->watcher));
    return true;
}

}  // namespace

THREAD_POOL* tpCreate(int count, void* (*start)(void*), void* arg) {
    if (count <= 0 || start == nullptr || arg == nullptr) {
        return nullptr;
    }
    auto pool = allocatePool(count, start, arg);
    auto crew = pool == nullptr ? nullptr : Crew::make(pool.get());
    if (crew == nullptr) {
        return nullptr;
    }
    print("tpCreate: Starting %d threads\n", count);
    crew->createAll();
    printStarted(*pool);
    if (!startWatcher(pool.get(), crew.get())) {
        crew->callOff();
        return nullptr;
    }
    static_cast<void>(crew.release());
    return pool.release();
}

int tpWait(THREAD_POOL* pool) {
    if (pool == nullptr) {
        return -1;
    }
    const pthread_t watcher = pool->watcher;
    print("Waiting on 0x%04lx\n", printable(watcher));
    return pthread_join(watcher, nullptr);
}

int tpCancel(THREAD_POOL* pool) {
    if (pool == nullptr) {
        return -1;
    }
    const pthread_t watcher = pool->watcher;
    print("Cancelling 0x%04lx\n", printable(watcher));
    return pthread_cancel(watcher);
}

void* tpWatcher(THREAD_POOL* pool) {
    print("tpWatcher: Starting\n");
    const auto crew = pool == nullptr ? nullptr : Crew::make(pool);
    if (crew == nullptr) {
        return nullptr;
    }
    supervise(*crew);
}

void tpWatcherCleanup(THREAD_POOL* pool) {
    print("tpWatcher: Canceling\n");
    if (pool != nullptr) {
        FreePool()(pool);
    }
}

int SetThreadPriority(int policy, int nicePriority) {
    const sched_param withoutPriority = {};
    const int refused = pthread_setschedparam(pthread_self(), policy, &withoutPriority);
    if (refused != 0) {
        __debug(__LINE__, "%s, pthread_setschedparam failed with rc=%d\n", __func__, refused);
        return refused;
    }
    const pid_t tid = kt::currentThreadId().thread;
    const int rc = setpriority(PRIO_PROCESS, static_cast<id_t>(tid), nicePriority);
    if (rc != 0) {
        __debug(__LINE__, "%s, setpriority failed with rc=%d, nicePriority=%d, tid=%d\n", __func__, rc,
                nicePriority, tid);
    }
    return rc;
}
