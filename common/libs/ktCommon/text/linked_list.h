// A list of records of one size, in the order they were added, with one built-in iteration.
//
// The caller provides the list's own record and initialises it; llAdd copies the caller's records into nodes
// that belong to the list. Data pointers that llFirst and llNext hand out, and nodes, are valid until that
// element is deleted. Nothing frees a whole list: delete its elements, for instance the first until there is
// none.
//
// llAdd, llDelete and llShowAll exclude one another by the list's lock, and llAdd and the deletion of the
// first element take constant time. llFirst and llNext take no lock: a thread that iterates while others add
// or delete holds a lock of its own, as those do. A null list, where nothing else is said, gives null and
// changes nothing. Only llShow and llShowAll block but for the lock, and are cancellation points; none is for
// signal handlers.
#ifndef KT_TEXT_LINKED_LIST_H
#define KT_TEXT_LINKED_LIST_H

#include <pthread.h>
#include <stdint.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// The list itself, or an element's node: a node's block holds more behind these fields, so only llAdd makes
// one and only llDelete frees it. The fields are to be read; a node's lock is all zero.
typedef struct LLNode {
    uint32_t size;         // of every element's data, in bytes
    void* data;            // list: null; node: its copy of the record, aligned for any type, never null
    pthread_mutex_t lock;  // list: guards all that follows and the nodes
    struct LLNode* head;   // list: the first node, null when empty; node: null
    struct LLNode*
        current;  // list: the node last returned by llFirst or llNext, null once it is deleted; node: null
    struct LLNode* next;  // list: the node that llNext returns next; node: the following one. Null at the end
    struct LLNode* second;  // list: the node behind the first, where llFirst goes on; node: null
} LLNode;

// Makes *list (may hold anything but a list with elements, which would leak) an empty list of records of
// elemSize bytes, which may be 0. Returns list.
KT_API LLNode* llInit(LLNode* list, unsigned elemSize);

// Appends a copy of the list's size in bytes of *record, which stays the caller's. In a list that is not
// empty an iteration that has come to the end, or has returned the only element, goes on with it. Returns the
// new node; null, with the list unchanged, when list or record is null or memory is short.
KT_API LLNode* llAdd(LLNode* list, const void* record);

// Starts the iteration over. Returns the first element's data; null when the list is empty.
KT_API void* llFirst(LLNode* list);

// Goes on. Returns the next element's data; null at the end.
KT_API void* llNext(LLNode* list);

// Deletes the element whose data pointer is `data`, which need not be valid. An iteration goes on behind the
// deleted element if that came next, and behind the new first element if the first was deleted. Returns list,
// also when there is no such element.
KT_API LLNode* llDelete(LLNode* list, void* data);

// Prints the formatted text (null: none) as it is and "  node: %p - size: %d, data: %p, next: %p\n" with the
// record's address and fields on standard output, which is flushed; between them "  llInfo: head: %p, curr:
// %p\n" for a record whose head is the record itself. With a null node the text only. Returns 0.
KT_API int llShow(LLNode* node, const char* fmt, ...) KT_PRINTF(2, 3);

// Prints the formatted text (null: none) and every node as llShow does, as one block of lines, and keeps the
// lock meanwhile. Returns 0.
KT_API int llShowAll(LLNode* list, const char* fmt, ...) KT_PRINTF(2, 3);

#ifdef __cplusplus
}
#endif

#endif
