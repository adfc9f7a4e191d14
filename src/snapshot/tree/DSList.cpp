#include "snapshot/DSList.h"

#include "snapshot/tree/NameIndex.h"
#include "snapshot/tree/allocation.h"
#include "snapshot/tree/list_private.h"
#include "snapshot/tree/name_order.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace snapshot {

namespace {

constexpr uint64_t kFirstCapacity = 4;

// Of ListStore::moves: the links may be anywhere; and the number below which a search is always cheap.
constexpr uint32_t kUnknownMoves = UINT32_MAX;
constexpr uint64_t kFewMoves = 64;

void dropIndex(DSList* list) {
    ListStore* store = storeOf(list);
    if (store == nullptr) return;
    delete store->index;
    store->index = nullptr;
}

// Leaves the list empty, and its links to the caller.
void forgetLinks(DSList* list) {
    dropIndex(list);
    free(storeOf(list));
    list->items = nullptr;
    list->head = list->tail = nullptr;
    list->count = 0;
    list->_gap = 0;
}

void resize(DSList* list, uint64_t capacity) {
    if (capacity > UINT32_MAX) endForLackOfMemory();
    ListStore* store = storeOf(list);
    bool isNew = store == nullptr;
    store = static_cast<ListStore*>(reallocate(store, sizeof(ListStore) + capacity * sizeof(DSListNode*)));
    if (isNew) {
        store->index = nullptr;
        store->moves = 0;
    }
    store->capacity = static_cast<uint32_t>(capacity);
    list->items = reinterpret_cast<DSListNode**>(store + 1) + list->_gap;
}

// Room for one more value at the end.
void makeRoom(DSList* list) {
    ListStore* store = storeOf(list);
    if (store == nullptr) {
        resize(list, kFirstCapacity);
    } else if (list->_gap + list->count == store->capacity) {
        if (list->_gap > list->count) { // moving up is amortised by the removals that made the gap
            DSListNode** slots = list->items - list->_gap;
            memmove(slots, list->items, list->count * sizeof(DSListNode*));
            list->items = slots;
            list->_gap = 0;
            storeOf(list)->moves = kUnknownMoves;
        } else {
            resize(list,
                   store->capacity + store->capacity / 2 + 1); // a reserved list may have had room for one
        }
    }
}

DSListNode* makeLink(DSList* list, void* value) {
    DSListNode* link = nullptr;
    if ((list->_flags & kListOfChildren) != 0) {
        link = linkInside(value);
        if (link->value != nullptr) {
            link = nullptr;
            list->_flags |= kListHasOwnLinks;
        }
    }
    if (link == nullptr) link = static_cast<DSListNode*>(allocate(sizeof(DSListNode)));
    *link = {value, nullptr};
    return link;
}

void releaseLink(const DSList* list, DSListNode* link) {
    if ((list->_flags & kListOfChildren) != 0 && link == linkInside(link->value))
        link->value = nullptr;
    else
        free(link);
}

void remember(DSNode* node, uint64_t slot) {
    node->_flags = (node->_flags & kNodeFlags) | static_cast<uint32_t>(slot) << kSlotShift;
}

// Records how a name to be appended compares with the last one.
void keepOrder(DSList* list, uint32_t order) {
    if (list->count == 0)
        list->_flags |= kListAscending | kListAscendingSigned;
    else
        list->_flags &= ~(kListAscending | kListAscendingSigned) | order;
}

void attach(DSList* list, DSListNode* link) {
    list->items[list->count++] = link;
    if (list->tail != nullptr)
        list->tail->next = link;
    else
        list->head = link;
    list->tail = link;
}

// Appends a node to a children list; the caller knows how the node's name compares with the last one's.
void appendNode(DSList* list, DSNode* node, uint32_t order) {
    makeRoom(list);
    DSListNode* link = makeLink(list, node);
    keepOrder(list, order);
    if (NameIndex* index = storeOf(list)->index) index->append(node);
    if (link == linkInside(node)) remember(node, list->_gap + list->count);
    attach(list, link);
}

// Makes every child remember its slot again.
void rememberAll(DSList* list) {
    for (uint64_t i = 0; i < list->count; i++)
        remember(nodeOf(list->items[i]), list->_gap + i);
    storeOf(list)->moves = 0;
}

// Position of a node's own link, or the count. Each removal moves a link by one slot at most, so the search
// goes outwards from the remembered slot as far as there were removals since; when these are many, one walk
// over all makes the next searches short again.
uint64_t positionOfNode(DSList* list, const DSNode* node) {
    uint64_t count = list->count;
    if (count == 0) return count;
    const DSListNode* link = linkInside(node);
    uint64_t moves = storeOf(list)->moves;
    if (moves > kFewMoves + count / kFewMoves) {
        rememberAll(list);
        moves = 0;
    }
    uint64_t slot = node->_flags >> kSlotShift;
    uint64_t start = std::min(slot > list->_gap ? slot - list->_gap : 0, count - 1);
    for (uint64_t distance = 0; distance <= moves; distance++) {
        if (distance <= start && list->items[start - distance] == link) return start - distance;
        if (start + distance < count && list->items[start + distance] == link) return start + distance;
    }
    return static_cast<uint64_t>(std::find(list->items, list->items + count, link) - list->items);
}

// Position of the first link with this value, or the count.
uint64_t positionOf(DSList* list, const void* value) {
    uint64_t count = list->count;
    if ((list->_flags & (kListOfChildren | kListHasOwnLinks)) == kListOfChildren)
        return value != nullptr ? positionOfNode(list, static_cast<const DSNode*>(value)) : count;
    for (uint64_t i = 0; i < count; i++)
        if (list->items[i]->value == value) return i;
    return count;
}

// Closes the hole at a position by moving the shorter side.
void closeHole(DSList* list, uint64_t position) {
    uint64_t after = list->count - position - 1;
    if (position < after && list->_gap < UINT32_MAX) {
        memmove(list->items + 1, list->items, position * sizeof(DSListNode*));
        list->items++;
        list->_gap++;
    } else {
        memmove(list->items + position, list->items + position + 1, after * sizeof(DSListNode*));
    }
    list->count--;
    const bool isAtAnEnd = position == 0 || after == 0; // nothing moved
    ListStore* store = storeOf(list);
    if (!isAtAnEnd && store->moves < kUnknownMoves) store->moves++;
}

// Orders two links for the sort: identical ones are equal, a missing one comes last.
int _internal_compar(const void* first, const void* second, void* comparator) {
    const DSListNode* a = *static_cast<DSListNode* const*>(first);
    const DSListNode* b = *static_cast<DSListNode* const*>(second);
    if (a == b) return 0;
    if (a == nullptr) return 1;
    if (b == nullptr) return -1;
    return (*static_cast<DSListComparator*>(comparator))(a->value, b->value);
}

void relink(DSList* list) {
    for (uint64_t i = 0; i + 1 < list->count; i++)
        list->items[i]->next = list->items[i + 1];
    list->head = list->items[0];
    list->tail = list->items[list->count - 1];
    list->tail->next = nullptr;
}

} // namespace

void releaseLinks(DSList* list) {
    if (list->items == nullptr) return;
    for (uint64_t i = 0; i < list->count; i++)
        releaseLink(list, list->items[i]);
    forgetLinks(list);
    list->_flags &= kListOfChildren;
}

void reserve(DSList* list, uint64_t capacity) {
    const ListStore* store = storeOf(list);
    if (capacity > 0 && (store == nullptr || store->capacity < list->_gap + capacity))
        resize(list, list->_gap + capacity);
}

void appendChild(DSNode* parent, DSNode* node, uint32_t order) {
    node->parent = parent;
    appendNode(parent->children, node, order);
}

} // namespace snapshot

using namespace snapshot;

DSList* DSListCreate() noexcept {
    auto* list = static_cast<DSList*>(allocate(sizeof(DSList)));
    *list = {};
    return list;
}

void DSListDestroy(DSList* list) noexcept {
    if (list == nullptr) return;
    // The list is emptied first: a callback may look at it, such as a node that leaves its parent.
    DSListNode* link = list->head;
    DSList emptied = *list;
    forgetLinks(list);
    while (link != nullptr) {
        DSListNode* next = link->next;
        void* value = link->value;
        releaseLink(&emptied, link);
        if (emptied.freeCallback != nullptr && value != nullptr) emptied.freeCallback(value);
        link = next;
    }
    if ((emptied._flags & kListOfChildren) == 0)
        free(list);
    else
        list->_flags = kListOfChildren;
}

void DSListSetFreeCallback(DSList* list, DSListFreeCallback callback) noexcept {
    list->freeCallback = callback;
}

void DSListAppendValue(DSList* list, void* value) noexcept {
    if ((list->_flags & kListOfChildren) == 0) {
        makeRoom(list);
        attach(list, makeLink(list, value));
    } else if (auto* node = static_cast<DSNode*>(value)) { // a directory has no absent children
        appendNode(list, node, list->count > 0 ? orderOfNames(nameOf(nodeOf(list->tail)), nameOf(node)) : 0);
    }
}

void DSListRemoveValue(DSList* list, const void* value) noexcept {
    uint64_t position = positionOf(list, value);
    if (position == list->count) return;
    DSListNode* link = list->items[position];
    if ((list->_flags & kListOfChildren) != 0) {
        NameIndex* index = storeOf(list)->index;
        if (index != nullptr && !index->remove(nodeOf(link))) dropIndex(list);
    }
    if (position == 0)
        list->head = link->next;
    else
        list->items[position - 1]->next = link->next;
    if (list->tail == link) list->tail = position == 0 ? nullptr : list->items[position - 1];
    closeHole(list, position);
    releaseLink(list, link);
}

uint64_t DSListGetCount(const DSList* list) noexcept { return list->count; }

DSListIterator* DSListIteratorCreate(DSList* list) noexcept {
    auto* iterator = static_cast<DSListIterator*>(allocate(sizeof(DSListIterator)));
    *iterator = {0, list};
    return iterator;
}

int DSListIteratorHasNext(const DSListIterator* iterator) noexcept {
    return iterator->index < iterator->list->count ? 1 : 0;
}

void* DSListIteratorNext(DSListIterator* iterator) noexcept {
    if (DSListIteratorHasNext(iterator) == 0) return nullptr;
    return iterator->list->items[iterator->index++]->value;
}

void DSListIteratorDestroy(DSListIterator* iterator) noexcept { free(iterator); }

void DSListSort(DSList* list, DSListComparator comparator) noexcept {
    if (list->count == 0) return;
    qsort_r(list->items, list->count, sizeof(DSListNode*), _internal_compar, static_cast<void*>(&comparator));
    relink(list);
    if ((list->_flags & kListOfChildren) == 0) return;
    storeOf(list)->moves = kUnknownMoves;
    const NameIndex* index = storeOf(list)->index;
    if (index != nullptr && index->hasRepeatedNames()) dropIndex(list);
    if (list->count > 1) list->_flags &= ~(kListAscending | kListAscendingSigned);
}

DSList* DSListCopy(const DSList* list) noexcept {
    if (list == nullptr) return nullptr;
    DSList* copy = DSListCreate();
    copy->copyCallback = list->copyCallback;
    reserve(copy, list->count);
    for (const DSListNode* link = list->head; link != nullptr; link = link->next)
        DSListAppendValue(copy,
                          list->copyCallback != nullptr ? list->copyCallback(link->value) : link->value);
    return copy;
}
