#include "internal/broken_pipe.h"

#include <ctime>

namespace kt {
namespace {

bool isBrokenPipePending() {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
}

sigset_t brokenPipeOnly() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

}  // namespace

BrokenPipeIgnored::BrokenPipeIgnored() : wasPending_(isBrokenPipePending()) {
    const sigset_t brokenPipe = brokenPipeOnly();
    pthread_sigmask(SIG_BLOCK, &brokenPipe, &previous_);
}

BrokenPipeIgnored::~BrokenPipeIgnored() {
    const sigset_t brokenPipe = brokenPipeOnly();
    const timespec noWait = {};
    if (!wasPending_ && isBrokenPipePending()) {
        sigtimedwait(&brokenPipe, nullptr, &noWait);
    }
    pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
}

}  // namespace kt
