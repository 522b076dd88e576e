#include "internal/thread_id.h"

#include <pthread.h>
#include <unistd.h>

namespace kt {
namespace {

__attribute__((tls_model("initial-exec"))) thread_local ThreadId t_kept;

// Runs in the child, whose only thread is the copy of the one that forked.
void forget() {
    t_kept = {};
}

[[maybe_unused]] const int registered = pthread_atfork(nullptr, nullptr, forget);

}  // namespace

ThreadId currentThreadId() {
    if (t_kept.process == 0) {
        t_kept = {getpid(), gettid()};
    }
    return t_kept;
}

}  // namespace kt
