// The thread callbacks that OpenSSL asks a program for in its versions before 1.1.
//
// To be called in any thread, not in signal handlers. No cancellation points.
#ifndef KT_SYNC_OPENSSL_LOCKS_H
#define KT_SYNC_OPENSSL_LOCKS_H

#include <pthread.h>
#include <stdint.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// One initialised mutex for each of OpenSSL's lock numbers (CRYPTO_num_locks). Null at start: the daemon sets
// it before it registers the callbacks, and keeps what it points to.
extern KT_API pthread_mutex_t* ssl_thread_locks;

// Locks mutex n of ssl_thread_locks when bit 0x1 of mode (CRYPTO_LOCK) is set, and unlocks it otherwise. n:
// at least 0 and below the number of mutexes, which is not checked. The file name and line that OpenSSL
// passes as well are ignored: register it for CRYPTO_set_locking_callback with a cast.
// Returns 0 or the error number of pthread_mutex_lock or pthread_mutex_unlock
//     22  ssl_thread_locks is null
// Locking blocks while another thread holds the mutex.
KT_API int openssl_thread_lock(int mode, int n);

// For CRYPTO_set_id_callback, by way of a function of its type, which returns an unsigned long. Does not
// block.
// Returns pthread_self of the calling thread, its lower 32 bits where it has more. It is no kernel thread id.
KT_API uint32_t getThreadID(void);

#ifdef __cplusplus
}
#endif

#endif
