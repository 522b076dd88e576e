// Thread-unique data: a block of memory that its thread finds again without passing a pointer around.
//
// The list holds the blocks of all threads, each under its thread's kernel id, in the order of their
// creation. Nothing removes those of a thread that ends, and a new thread that gets the same id finds them: a
// thread deletes what it has created. A forked child has none of its own; where other threads used the list
// at the fork, its lock may stay taken there.
//
// The functions may run in any thread, not in signal handlers. Those with a lock hold gThreadDataLock, which
// exists from the library's start to its tear-down, for all they do; they block only for that and are no
// cancellation points.
#ifndef KT_SYNC_THREAD_DATA_H
#define KT_SYNC_THREAD_DATA_H

#include <stddef.h>
#include <stdint.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// A block of a thread.
typedef struct TUD_ENTRY {
    int32_t threadId;  // kernel id of the thread that created the entry
    int32_t size;      // bytes at data
    void* data;
    struct TUD_ENTRY* next;  // null at the end
} TUD_ENTRY;

// The oldest entry; null for an empty list. Entries belong to the library; look at them only while
// gThreadDataLock is held.
extern KT_API TUD_ENTRY* threadUniqueDataHead;

// Adds a block of zeroed bytes for the calling thread. size: in bytes. A thread may create several.
// Returns the block, which is the thread's until it deletes it, and is not to be freed
//     null  size is 0 or above 2147483647, or memory is short; the list is unchanged
KT_API void* createThreadUniqueData(size_t size);

// Returns the calling thread's oldest block; null when it has none.
KT_API void* getThreadUniqueData(void);

// Frees the calling thread's oldest block.
// Returns 0
//     -1  it has none
KT_API int deleteThreadUniqueData(void);

// Returns threadUniqueDataHead, read from memory at every call. Takes no lock.
KT_API TUD_ENTRY* volThreadUniqueDataHead(void);

// Prints the list on standard output: "TUD list\n", for each entry "  ThreadID: 0x%x, size: %d bytes at %p\n"
// with its thread's id, size and block, and an empty line. Takes no lock, so only for a process whose threads
// leave the list alone meanwhile. Blocks as long as its output does, and is a cancellation point.
// Returns 0.
KT_API int _showTUDList(void);

#ifdef __cplusplus
}
#endif

#endif
