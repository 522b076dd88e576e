#include "sync/openssl_locks.h"

#include <cerrno>

pthread_mutex_t* ssl_thread_locks;

namespace {

constexpr int kLockBit = 0x1;

}  // namespace

int openssl_thread_lock(int mode, int n) {
    if (ssl_thread_locks == nullptr) {
        return EINVAL;
    }
    pthread_mutex_t* mutex = &ssl_thread_locks[n];
    return (mode & kLockBit) != 0 ? pthread_mutex_lock(mutex) : pthread_mutex_unlock(mutex);
}

uint32_t getThreadID(void) {
    return static_cast<uint32_t>(pthread_self());
}
