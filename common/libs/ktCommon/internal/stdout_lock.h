// Standard output's own lock: recursive, and reset by the C library in a forked child, so a lock that another
// thread held at the fork does not stay.
#ifndef KT_INTERNAL_STDOUT_LOCK_H
#define KT_INTERNAL_STDOUT_LOCK_H

#include <cstdio>

#include "internal/private.h"

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#define KT_TSAN_ACQUIRE(address) __tsan_acquire(address)
#define KT_TSAN_RELEASE(address) __tsan_release(address)
#else
#define KT_TSAN_ACQUIRE(address) ((void)0)
#define KT_TSAN_RELEASE(address) ((void)0)
#endif

namespace kt {

class StdoutLock {
  public:
    StdoutLock() {
        flockfile(stdout);
        KT_TSAN_ACQUIRE(stdout);  // ThreadSanitizer does not know this lock
    }
    ~StdoutLock() {
        KT_TSAN_RELEASE(stdout);
        funlockfile(stdout);
    }
    StdoutLock(const StdoutLock&) = delete;
    StdoutLock& operator=(const StdoutLock&) = delete;
};

}  // namespace kt

#endif
