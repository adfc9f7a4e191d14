// The private side of DSList and DSNode: how their memory lies, shared by the engine's own sources.
//
// A node is one piece of memory (see NodeStore.h), so that a tree of a million items costs few calls of the
// allocator and little memory:
//
//     DSListNode  the link that stands for the node in its parent's children
//     DSNode      the public record
//     name        its bytes and terminator, padded to 8
//     DSList      the children
//
// A children list uses the link inside the node it is given while that link is free, and allocates one when
// it is not (a node appended twice). Such links are told apart by their address alone, so that a list can be
// emptied without looking at its values.
#pragma once

#include "snapshot/tree/cxx.h"

#include <cstddef>
#include <string_view>

namespace snapshot {

class NameIndex;

enum ListFlag : uint32_t {
    kListOfChildren = 1,  // values are nodes
    kListHasOwnLinks = 2, // a children list that has, or had, a link of its own beside those inside nodes
    // 4 and 8: the orders that its names are in; see name_order.h
};

// What DSNode::_flags holds in its lowest bits. The bits above are the slot, counted from the start of the
// list's allocation, at which the parent's children last knew the node to be: a removal looks near it.
enum NodeFlag : uint32_t {
    kDigestInBlock = 1, // the digest is part of a block; see DigestStore.h
    kInChunk = 2,       // the node is part of a chunk; see NodeStore.h
};
inline constexpr uint32_t kNodeFlags = kDigestInBlock | kInChunk;
inline constexpr unsigned kSlotShift = 2;

// What precedes the slots in the allocation of DSList::items.
struct ListStore {
    uint32_t capacity;
    uint32_t moves;   // no node of a children list is further than this from the slot that it remembers
    NameIndex* index; // of a large children list once it was searched; otherwise NULL
};

inline ListStore* storeOf(const DSList* list) {
    if (list->items == nullptr) return nullptr;
    return reinterpret_cast<ListStore*>(list->items - list->_gap) - 1;
}

inline DSListNode* linkInside(const void* node) {
    return reinterpret_cast<DSListNode*>(
        const_cast<char*>(static_cast<const char*>(node) - sizeof(DSListNode)));
}

inline char* nameInside(DSNode* node) { return reinterpret_cast<char*>(node + 1); }

inline DSNode* nodeOf(const DSListNode* link) { return static_cast<DSNode*>(link->value); }

inline std::string_view nameOf(const DSNode* node) { return {node->name, node->_nameLength}; }

// Empties a list without applying its callback and releases its array and index.
void releaseLinks(DSList* list);

// Makes room for a number of values in total, so that a directory of known size gets exactly what it needs.
void reserve(DSList* list, uint64_t capacity);

// Appends a node that is in no list. `order` says how its name compares with the last child's, any value
// while there is none.
void appendChild(DSNode* parent, DSNode* node, uint32_t order);

} // namespace snapshot
