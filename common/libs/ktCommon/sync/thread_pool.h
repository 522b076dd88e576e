// A fixed number of identical worker threads and a watcher that replaces those that have ended; a thread's
// own scheduling.
//
// A worker ends by returning, by pthread_exit or by being cancelled, and may detach itself before. The
// watcher looks at all slots at once after its start and then every 3 seconds; an ended worker is joined
// (unless it is detached), its exit value dropped, and a new one started in its slot with the same routine
// and argument. A worker that hangs has not ended. A slot whose worker cannot be created (no memory, no more
// threads) holds 0, and every scan tries again. All threads have default attributes and a signal stack of
// their own, which is theirs as long as they run.
//
// Progress is printed with stdio on standard output, which is not flushed; lines of several threads never
// mix. Thread ids are printed as "0x%04x", in full where they are wider than an int. Printing may block as
// long as standard output does and is no cancellation point.
//
// The functions may be called from any thread, and not in signal handlers.
#ifndef KT_SYNC_THREAD_POOL_H
#define KT_SYNC_THREAD_POOL_H

#include <pthread.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// A pool, which is its own handle. It belongs to the watcher, which frees it when it is cancelled and is the
// only one to write to it. Do not join or detach a supervised worker through its id here.
typedef struct THREAD_POOL {
    pthread_t watcher;
    int count;              // of workers
    pthread_t* threads;     // the present worker of each slot, 0: none
    void* (*start)(void*);  // of every worker
    void* arg;              // of every worker; the caller's
} THREAD_POOL;

// Starts `count` workers that run start(arg), then the watcher. Prints
//     "tpCreate: Starting %d threads\n"
//     "tpCreate: Started: ", "0x%04x, " for each slot, "\ntpCreate: Starting Watcher\n"
//     "tpCreate: Watcher: 0x%04x\n"
// No worker enters its routine before the watcher runs: when that cannot be created none ever does.
// count: 1 and more. start, arg: not null; *arg must outlive the workers.
// Returns the pool; null when an argument is refused or its memory cannot be had (nothing printed), or when
// the watcher cannot be created (the last line missing). Then no thread is left.
// To be ended by tpCancel.
KT_API THREAD_POOL* tpCreate(int count, void* (*start)(void*), void* arg);

// Prints "Waiting on 0x%04x\n" with the watcher's id and joins the watcher. One thread per pool may do so,
// and must have called before the pool is cancelled; who comes to it later keeps `watcher` and joins that. A
// watcher that nobody joins keeps its stack.
// Returns 0 once the watcher has been cancelled; -1 for a null pool; otherwise what pthread_join returned.
// Blocks as long as the pool is supervised and is a cancellation point.
KT_API int tpWait(THREAD_POOL* pool);

// Prints "Cancelling 0x%04x\n" with the watcher's id and cancels the watcher, which ends in its sleep (a scan
// is finished first) and frees the pool: it may be used no more. To be called once. The workers run on,
// unsupervised; they stay joinable, because their ids may have been kept to cancel or join them, and one that
// nobody joins or detaches keeps its stack when it ends.
// Returns 0; -1 for a null pool; otherwise what pthread_cancel returned.
KT_API int tpCancel(THREAD_POOL* pool);

// What the watcher that tpCreate starts does; it need not be called. Prints "tpWatcher: Starting\n", before
// each scan "tpWatcher: Watching %d threads\n", and for each slot that it tries to fill again
// "  >> *** tpWatcher: restarting 0x%04x\n" with the id it held.
// pool: null, or a record that tpCreate has not made, with threads that are joinable or 0; the calling
// thread, whose cancellation must be enabled, becomes its watcher, and the record and its array, both from
// malloc, become its property. `watcher` is for the caller to set.
// Returns null for a null pool, or without memory (nothing is taken over then). Otherwise it ends only by
// cancellation, of which its sleep between two scans is the only point, and calls tpWatcherCleanup.
KT_API void* tpWatcher(THREAD_POOL* pool);

// The end of a watcher: prints "tpWatcher: Canceling\n" and frees `threads` and the record. Not for a pool
// that is supervised.
// pool: may be null, like its threads.
KT_API void tpWatcherCleanup(THREAD_POOL* pool);

// Gives the calling thread a scheduling policy and then a nice value. A failure writes a debug line,
//     "SetThreadPriority, pthread_setschedparam failed with rc=%d\n"                     error number
//     "SetThreadPriority, setpriority failed with rc=%d, nicePriority=%d, tid=%d\n"      -1
// policy: one that has no priorities of its own (SCHED_OTHER, SCHED_BATCH, SCHED_IDLE).
// nicePriority: -20 (most favoured) to 19; the kernel brings others into this range. Lowering it again takes
// a privilege.
// Returns 0; the error number when the policy is refused (22: unknown, or has priorities), and
// the nice value is left alone; -1 when the nice value is refused, with errno set, and the policy stays.
// Blocks and is a cancellation point only where it writes a debug line.
KT_API int SetThreadPriority(int policy, int nicePriority);

#ifdef __cplusplus
}
#endif

#endif
