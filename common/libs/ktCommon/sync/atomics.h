// Integers that threads change without a lock.
//
// Sequentially consistent, for any thread and for signal handlers; neither blocks nor is a cancellation
// point. target: not null, aligned as an int is.
#ifndef KT_SYNC_ATOMICS_H
#define KT_SYNC_ATOMICS_H

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// C11's <stdatomic.h> has a macro atomic_store. Behind it, this declares the function all the same; to call
// it write (atomic_store)(target, value).
#define KT_NO_MACRO

// Adds delta to *target; an overflow wraps.
// Returns the sum.
KT_API int atomic_add(int* target, int delta);

// Replaces *target with value.
// Returns value, not what was there before.
KT_API int atomic_store KT_NO_MACRO(int* target, int value);

#undef KT_NO_MACRO

#ifdef __cplusplus
}
#endif

#endif
