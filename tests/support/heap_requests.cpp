#include "support/heap_requests.h"

#include <malloc.h>

__thread int t_heapGrants = INT_MAX;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
const bool kHeapRefuses = false;
size_t latestSize(void* block) { return malloc_usable_size(block); }
#else
const bool kHeapRefuses = true;
static thread_local size_t t_latestSize;
size_t latestSize(void*) { return t_latestSize; }

extern "C" void* __libc_realloc(void*, size_t);
extern "C" void* realloc(void* block, size_t size) noexcept {
    t_latestSize = size;
    errno = ENOMEM;  // as C allows even when the request is granted
    return t_heapGrants-- > 0 ? __libc_realloc(block, size) : nullptr;
}
extern "C" void* malloc(size_t size) noexcept { return realloc(nullptr, size); }

extern "C" void* __libc_calloc(size_t, size_t);
extern "C" void* calloc(size_t count, size_t size) noexcept {
    return t_heapGrants-- > 0 ? __libc_calloc(count, size) : nullptr;
}
#endif
