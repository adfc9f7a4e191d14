/* The engine's ordered collection: a singly linked list with an array of its links for indexed access.
 *
 * Ownership: a list owns its links and its array. It owns its values only through `freeCallback`, which
 * DSListDestroy applies. What a function with Create or Copy in its name returns is released with the
 * matching Destroy function.
 *
 * Callers read every field and may set `freeCallback` and `copyCallback`; the rest changes only through the
 * functions below. A list is made by DSListCreate, never on the stack.
 *
 * A node's `children` (see DSNode.h) are such a list too. It belongs to its node: its values must be nodes,
 * and DSListDestroy on it empties it and leaves the list itself to the node.
 *
 * Threads: one thread at a time for each list; callers serialise. */
#pragma once

#include "snapshot/export.h"

#include <stdint.h>

DS_BEGIN_DECLS

/* One link. `next` of the last link is NULL. */
typedef struct DSListNode {
    void* value;
    struct DSListNode* next;
} DSListNode;

typedef void (*DSListFreeCallback)(void* value);
typedef void* (*DSListCopyCallback)(void* value);

/* Negative, zero or positive as `a` is to stand before, beside or after `b`. */
typedef int (*DSListComparator)(const void* a, const void* b);

/* The first `count` entries of `items` are the links in order; following `next` from `head` visits the same
 * links in the same order. `items` is NULL until the first append; `head` and `tail` are NULL while the list
 * is empty. */
typedef struct DSList {
    DSListNode** items;
    DSListNode* head;
    DSListNode* tail;
    uint64_t count;
    DSListFreeCallback freeCallback;
    DSListCopyCallback copyCallback;
    uint32_t _flags; /* private */
    uint32_t _gap;   /* private: unused slots before `items` in its allocation */
} DSList;

typedef struct DSListIterator {
    uint64_t index;
    DSList* list;
} DSListIterator;

DS_API DSList* DSListCreate(void) DS_NOTHROW;

/* Applies `freeCallback`, when there is one, to each value that is not NULL, in order; releases links, array
 * and list. NULL does nothing. */
DS_API void DSListDestroy(DSList* list) DS_NOTHROW;

DS_API void DSListSetFreeCallback(DSList* list, DSListFreeCallback callback) DS_NOTHROW;

/* Appends in amortised constant time. NULL is a value like any other, but for a node's `children`, which it
 * is not appended to. */
DS_API void DSListAppendValue(DSList* list, void* value) DS_NOTHROW;

/* Removes the first link whose value is this very reference; the order of the rest is kept. Neither the
 * value nor a callback is touched. Nothing happens when the value is not in the list. */
DS_API void DSListRemoveValue(DSList* list, const void* value) DS_NOTHROW;

DS_API uint64_t DSListGetCount(const DSList* list) DS_NOTHROW;

/* An iterator starts before the first value. Next returns NULL once the list is exhausted. Constant time a
 * step. The list must outlive the iterator; values appended meanwhile are visited. */
DS_API DSListIterator* DSListIteratorCreate(DSList* list) DS_NOTHROW;
DS_API int DSListIteratorHasNext(const DSListIterator* iterator) DS_NOTHROW;
DS_API void* DSListIteratorNext(DSListIterator* iterator) DS_NOTHROW;
DS_API void DSListIteratorDestroy(DSListIterator* iterator) DS_NOTHROW;

/* Sorts in place. Callers must not rely on the order of values that compare equal. */
DS_API void DSListSort(DSList* list, DSListComparator comparator) DS_NOTHROW;

/* The values in order, each passed through `copyCallback` when one is set. The copy carries the copy callback
 * and no free callback. NULL gives NULL. */
DS_API DSList* DSListCopy(const DSList* list) DS_NOTHROW;

DS_END_DECLS
