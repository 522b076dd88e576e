// Lock files: a resource that processes share is free or taken as the first byte of a file says.
//
// Byte 1 is free, as is an empty file; 0 is taken. Nothing else in the file matters, and it is never removed.
// A missing one is made, holding 1. A lock has no owner: whoever waits for a change in vain goes on after 100
// retries as if it had come, so the lock of a process that died is taken over.
//
// Of several callers that see a lock free one takes it: an advisory lock (flock) on the file, which lasts as
// long as the test and the write, keeps the others out. Who holds that for longer than 20 ms, or a file
// system without it, only brings back the chance that two take the lock at once.
//
// What cannot be read counts as free (a FIFO and a directory, too), and writing what cannot be written is
// left out; the reader of a FIFO gets the byte. No path at all (null) is a lock that everybody gets at once.
// Every function may run in any thread, not in signal handlers. errno is not kept.
#ifndef KT_SYNC_LOCK_FILE_H
#define KT_SYNC_LOCK_FILE_H

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// 100, the retries before a lock is taken over, for the daemons. Weak: a program may define its own, which
// does not change how often the library retries.
extern KT_API const int MAX_LOCK_RETRIES;

// Returns the file's first byte, 0 to 255
//     1  also for what holds none or cannot be read; a missing file is made
// Waits for others that make the file, 20 ms at most; no cancellation point.
KT_API int fileGetLockValue(const char* path);

// Waits until the value is waitFor, then writes setTo. After the first look it sleeps 50 to 250 ms
// (getRandomInt) before each further one; after 100 of them, 5 to 25 seconds in all, it writes setTo
// regardless. tag, not null, names the caller in the debug lines: "%s: waiting: %d\n" with the number of
// looks, 10, 20 up to 100, and "%s: taking lock\n" when it does not wait any longer.
// Returns 0.
// The sleeps take their full time whatever signals come. They and the debug lines are cancellation points; a
// cancelled thread has not written and leaves no descriptor.
KT_API int fileSetLockValue(const char* path, int waitFor, unsigned char setTo, const char* tag);

// Take the lock: wait for 1, write 0, as "fSL"; and release it: wait for 0, write 1, as "fFL". Releasing a
// lock that is free waits the full time.
// Return 0. As fileSetLockValue.
KT_API int fileSetLock(const char* path);
KT_API int fileFreeLock(const char* path);

#ifdef __cplusplus
}
#endif

#endif
