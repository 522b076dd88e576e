// System V shared memory: blocks that several daemons share by key.
//
// A segment outlives the processes that use it until one removes it (smDestroy). Every function may run in
// any thread; none blocks or is a cancellation point; all are safe in a signal handler. errno tells the cause
// of a failure.
#ifndef KT_SYNC_SHARED_MEMORY_H
#define KT_SYNC_SHARED_MEMORY_H

#include <stddef.h>
#include <sys/ipc.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// Attaches the segment of key, which is created with mode 0666 and zero bytes when there is none. size:
// bytes, at most those of an existing segment. shmid: receives the segment's identifier, also when only the
// attaching failed, or -1; may be null.
// Returns the block, to be released with smRelease; null when there is no such segment or no room for it.
// Every call attaches once more. A segment that was created and could not be attached stays.
KT_API void* smAlloc(key_t key, int* shmid, size_t size) KT_WARN_UNUSED;

// smAlloc without the identifier. IPC_PRIVATE is no key for it: nobody could remove the segment.
KT_API void* smGetString(key_t key, size_t size) KT_WARN_UNUSED;

// Detaches the block at address, which smAlloc or smGetString returned.
// Returns 0, or -1 when no segment is attached there.
KT_API int smRelease(const void* address);

// Removes the segment once the last process has detached it.
// Returns 0, or -1 when shmid is none or the caller may not remove it.
KT_API int smDestroy(int shmid);

#ifdef __cplusplus
}
#endif

#endif
