// Holds a C library mutex while it lives. The standard library's guards know only its own mutexes, and its
// condition variable ends the process when a thread is cancelled in a wait.
#ifndef KT_INTERNAL_MUTEX_LOCK_H
#define KT_INTERNAL_MUTEX_LOCK_H

#include <pthread.h>

#include "internal/private.h"

namespace kt {

class MutexLock {
  public:
    explicit MutexLock(pthread_mutex_t& mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
    ~MutexLock() { pthread_mutex_unlock(&mutex_); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

  private:
    pthread_mutex_t& mutex_;
};

}  // namespace kt

#endif
