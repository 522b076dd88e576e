#include "sync/thread_data.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "internal/mutex_lock.h"
#include "internal/thread_id.h"
#include "sync/event.h"

static_assert(offsetof(TUD_ENTRY, threadId) == 0);
static_assert(offsetof(TUD_ENTRY, size) == 4);
static_assert(offsetof(TUD_ENTRY, data) == 8);
static_assert(offsetof(TUD_ENTRY, next) == 8 + sizeof(void*));
static_assert(sizeof(TUD_ENTRY) == 8 + 2 * sizeof(void*));

TUD_ENTRY* threadUniqueDataHead;

namespace {

// What points to the first entry that is wanted; to null, at the end of the list, when there is none.
template <typename Wanted>
TUD_ENTRY** linkTo(Wanted isWanted) {
    TUD_ENTRY** link = &threadUniqueDataHead;
    while (*link != nullptr && !isWanted(**link)) {
        link = &(*link)->next;
    }
    return link;
}

TUD_ENTRY** linkToOwn() {
    const int32_t self = kt::currentThreadId().thread;
    return linkTo([self](const TUD_ENTRY& entry) { return entry.threadId == self; });
}

TUD_ENTRY** linkAtEnd() {
    return linkTo([](const TUD_ENTRY&) { return false; });
}

// The lock does not keep those out who read without it.
void setLink(TUD_ENTRY** link, TUD_ENTRY* entry) {
    __atomic_store_n(link, entry, __ATOMIC_RELEASE);
}

// Null when memory is short.
TUD_ENTRY* newEntry(size_t size) {
    auto* entry = static_cast<TUD_ENTRY*>(calloc(1, sizeof(TUD_ENTRY)));
    void* data = calloc(1, size);
    if (entry == nullptr || data == nullptr) {
        free(entry);
        free(data);
        return nullptr;
    }
    *entry = {kt::currentThreadId().thread, static_cast<int32_t>(size), data, nullptr};
    return entry;
}

}  // namespace

void* createThreadUniqueData(size_t size) {
    if (size == 0 || size > INT32_MAX) {
        return nullptr;
    }
    const kt::MutexLock lock(gThreadDataLock.mutex);
    TUD_ENTRY* entry = newEntry(size);
    if (entry == nullptr) {
        return nullptr;
    }
    setLink(linkAtEnd(), entry);
    return entry->data;
}

void* getThreadUniqueData(void) {
    const kt::MutexLock lock(gThreadDataLock.mutex);
    const TUD_ENTRY* own = *linkToOwn();
    return own == nullptr ? nullptr : own->data;
}

int deleteThreadUniqueData(void) {
    const kt::MutexLock lock(gThreadDataLock.mutex);
    TUD_ENTRY** link = linkToOwn();
    TUD_ENTRY* own = *link;
    if (own == nullptr) {
        return -1;
    }
    setLink(link, own->next);
    free(own->data);
    free(own);
    return 0;
}

TUD_ENTRY* volThreadUniqueDataHead(void) {
    return __atomic_load_n(&threadUniqueDataHead, __ATOMIC_ACQUIRE);
}

int _showTUDList(void) {
    printf("TUD list\n");
    for (const TUD_ENTRY* entry = volThreadUniqueDataHead(); entry != nullptr; entry = entry->next) {
        printf("  ThreadID: 0x%x, size: %d bytes at %p\n", static_cast<unsigned>(entry->threadId),
               static_cast<int>(entry->size), entry->data);
    }
    printf("\n");
    fflush(stdout);
    return 0;
}
