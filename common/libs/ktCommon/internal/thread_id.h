// The process id and the calling thread's kernel id, without a system call but for a thread's first.
#ifndef KT_INTERNAL_THREAD_ID_H
#define KT_INTERNAL_THREAD_ID_H

#include <sys/types.h>

#include "internal/private.h"

namespace kt {

struct ThreadId {
    pid_t process;
    pid_t thread;
};

// Right in a child of fork, too: it forgets what it inherited. A raw clone, which runs no fork handlers,
// keeps it.
ThreadId currentThreadId();

}  // namespace kt

#endif
