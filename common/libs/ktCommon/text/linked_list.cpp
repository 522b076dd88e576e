#include "text/linked_list.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "internal/heap_text.h"
#include "internal/mutex_lock.h"
#include "internal/stdout_lock.h"
#include "text/growable.h"

static_assert(offsetof(LLNode, size) == 0);
static_assert(offsetof(LLNode, data) == sizeof(void*));
static_assert(offsetof(LLNode, lock) == 2 * sizeof(void*));
static_assert(offsetof(LLNode, head) == 2 * sizeof(void*) + sizeof(pthread_mutex_t));
static_assert(offsetof(LLNode, current) == offsetof(LLNode, head) + sizeof(void*));
static_assert(offsetof(LLNode, next) == offsetof(LLNode, current) + sizeof(void*));
static_assert(offsetof(LLNode, second) == offsetof(LLNode, next) + sizeof(void*));
static_assert(sizeof(LLNode) == offsetof(LLNode, second) + sizeof(void*));
static_assert(sizeof(void*) != 4 || sizeof(LLNode) == 48);

namespace {

// An element's block; its data follows.
struct Element {
    LLNode node;
    LLNode* last;  // the list's last node, in the first one only: the list's record has no room for it
};

constexpr size_t kAlignment = alignof(std::max_align_t);
constexpr size_t kDataOffset = (sizeof(Element) + kAlignment - 1) / kAlignment * kAlignment;

LLNode*& lastOf(LLNode* first) {
    return reinterpret_cast<Element*>(first)->last;
}

// Null when memory is short. Every element has a byte of its own at least, since its address is what it goes
// by.
LLNode* newNode(uint32_t size, const void* record) {
    const size_t dataSize = size == 0 ? 1 : size;
    auto* block =
        dataSize > SIZE_MAX - kDataOffset ? nullptr : static_cast<char*>(malloc(kDataOffset + dataSize));
    if (block == nullptr) {
        return nullptr;
    }
    memset(block, 0, kDataOffset);
    LLNode* node = &reinterpret_cast<Element*>(block)->node;
    node->size = size;
    node->data = memcpy(block + kDataOffset, record, size);
    return node;
}

void deleteFirst(LLNode* list) {
    LLNode* first = list->head;
    list->head = list->second;
    if (list->head != nullptr) {
        lastOf(list->head) = lastOf(first);
        list->second = list->head->next;
    }
    list->next = list->second;
}

void deleteBehind(LLNode* list, LLNode* previous) {
    LLNode* node = previous->next;
    previous->next = node->next;
    list->second = list->head->next;
    if (list->next == node) {
        list->next = node->next;
    }
    if (lastOf(list->head) == node) {
        lastOf(list->head) = previous;
    }
}

void printText(const char* fmt, va_list args) {
    const kt::HeapText text(fmt == nullptr ? nullptr : formatVAString(fmt, args));
    if (text != nullptr) {
        fputs(text.get(), stdout);
    }
}

void printNode(const LLNode* node) {
    if (node->head == node) {
        printf("  llInfo: head: %p, curr: %p\n", static_cast<const void*>(node),
               static_cast<void*>(node->current));
    }
    printf("  node: %p - size: %d, data: %p, next: %p\n", static_cast<const void*>(node),
           static_cast<int>(node->size), node->data, static_cast<void*>(node->next));
}

}  // namespace

LLNode* llInit(LLNode* list, unsigned elemSize) {
    if (list != nullptr) {
        memset(list, 0, sizeof *list);
        list->size = elemSize;
        pthread_mutex_init(&list->lock, nullptr);
    }
    return list;
}

LLNode* llAdd(LLNode* list, const void* record) {
    LLNode* node = list == nullptr || record == nullptr ? nullptr : newNode(list->size, record);
    if (node == nullptr) {
        return nullptr;
    }
    const kt::MutexLock lock(list->lock);
    if (list->head == nullptr) {
        list->head = node;
        list->next = nullptr;
    } else {
        lastOf(list->head)->next = node;
        list->second = list->head->next;
        list->next = list->next == nullptr ? node : list->next;
    }
    lastOf(list->head) = node;
    return node;
}

void* llFirst(LLNode* list) {
    if (list == nullptr) {
        return nullptr;
    }
    list->current = list->head;
    list->next = list->second;
    return list->current == nullptr ? nullptr : list->current->data;
}

void* llNext(LLNode* list) {
    if (list == nullptr) {
        return nullptr;
    }
    list->current = list->next;
    if (list->current == nullptr) {
        return nullptr;
    }
    list->next = list->current->next;
    return list->current->data;
}

LLNode* llDelete(LLNode* list, void* data) {
    if (list == nullptr || data == nullptr) {
        return list;
    }
    const kt::MutexLock lock(list->lock);
    LLNode* previous = nullptr;
    LLNode* node = list->head;
    while (node != nullptr && node->data != data) {
        previous = node;
        node = node->next;
    }
    if (node == nullptr) {
        return list;
    }
    if (previous == nullptr) {
        deleteFirst(list);
    } else {
        deleteBehind(list, previous);
    }
    list->current = list->current == node ? nullptr : list->current;
    free(node);
    return list;
}

int llShow(LLNode* node, const char* fmt, ...) {
    const kt::StdoutLock lock;
    va_list args;
    va_start(args, fmt);
    printText(fmt, args);
    va_end(args);
    if (node != nullptr) {
        printNode(node);
    }
    fflush(stdout);
    return 0;
}

int llShowAll(LLNode* list, const char* fmt, ...) {
    const kt::StdoutLock lock;
    va_list args;
    va_start(args, fmt);
    printText(fmt, args);
    va_end(args);
    if (list != nullptr) {
        const kt::MutexLock listLock(list->lock);
        for (const LLNode* node = list->head; node != nullptr; node = node->next) {
            printNode(node);
        }
    }
    fflush(stdout);
    return 0;
}
