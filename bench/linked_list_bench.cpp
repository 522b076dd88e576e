// Records added and deleted again, against a queue of copies.
#include <benchmark/benchmark.h>
#include <ktcommon.h>
#include <malloc.h>
#include <pthread.h>

#include <vector>

#ifdef KT_BENCH_GLIB
#include <glib.h>
#endif

namespace {

// A daemon whose heap has anything behind the list keeps its memory as well.
[[maybe_unused]] const int kHeapKept = mallopt(M_TRIM_THRESHOLD, 64 << 20);

// The arguments: how many records, of how many bytes.
void fillOurs(benchmark::State& state) {
    const std::vector<char> record(static_cast<size_t>(state.range(1)));
    LLNode list;
    llInit(&list, static_cast<unsigned>(record.size()));
    for (auto _ : state) {
        for (int64_t i = 0; i < state.range(0); ++i) {
            llAdd(&list, record.data());
        }
        while (list.head != nullptr) {
            llDelete(&list, list.head->data);
        }
    }
}

#ifdef KT_BENCH_GLIB
void fillGlib(benchmark::State& state) {
    const std::vector<char> record(static_cast<size_t>(state.range(1)));
    for (auto _ : state) {
        GQueue* queue = g_queue_new();
        for (int64_t i = 0; i < state.range(0); ++i) {
            g_queue_push_tail(queue, g_memdup2(record.data(), record.size()));
        }
        g_queue_free_full(queue, g_free);
    }
}

// The list locks every call; a queue that threads share does the same.
void fillGlibLocked(benchmark::State& state) {
    const std::vector<char> record(static_cast<size_t>(state.range(1)));
    pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
    GQueue* queue = g_queue_new();
    for (auto _ : state) {
        for (int64_t i = 0; i < state.range(0); ++i) {
            pthread_mutex_lock(&lock);
            g_queue_push_tail(queue, g_memdup2(record.data(), record.size()));
            pthread_mutex_unlock(&lock);
        }
        while (queue->head != nullptr) {
            pthread_mutex_lock(&lock);
            g_free(g_queue_pop_head(queue));
            pthread_mutex_unlock(&lock);
        }
    }
    g_queue_free(queue);
}

BENCHMARK(fillGlib)->Name("fill/glib")->Args({1000, 16})->Args({1000, 256});
BENCHMARK(fillGlibLocked)->Name("fill/glib_locked")->Args({1000, 16})->Args({1000, 256});
#endif

BENCHMARK(fillOurs)->Name("fill/ours")->Args({1000, 16})->Args({1000, 256})->Args({10000, 16});

}  // namespace
