// The private side of DSList and DSNode: how their memory lies, shared by the engine's own sources.
//
// A node is one piece of memory (see node_store.h), so that a tree of a million items costs few calls of the
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

#include "snapshot/cxx.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace snapshot {

class NameIndex;

enum ListFlag : uint32_t {
    kListOfChildren = 1,      // values are nodes
    kListHasOwnLinks = 2,     // a children list that has, or had, a link of its own beside those inside nodes
    kListAscending = 4,       // names strictly ascending, bytes as unsigned: the order of a scan
    kListAscendingSigned = 8, // names strictly ascending, bytes as signed: the order of a digest computation
};

// What DSNode::_flags holds in its lowest bits. The bits above are the slot, counted from the start of the
// list's allocation, at which the parent's children last knew the node to be: a removal looks near it.
enum NodeFlag : uint32_t {
    kDigestInBlock = 1, // the digest is part of a block; see digest_store.h
    kInChunk = 2,       // the node is part of a chunk; see node_store.h
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

// How many of their first `length` bytes two texts have in common.
inline size_t commonStart(const char* first, const char* second, size_t length) {
    constexpr size_t word = sizeof(uint64_t);
    size_t at = 0;
    for (; at + word <= length; at += word) {
        uint64_t a = 0;
        uint64_t b = 0;
        memcpy(&a, first + at, word);
        memcpy(&b, second + at, word);
        if (a == b) continue;
        bool isLittle = std::endian::native == std::endian::little;
        return at + static_cast<size_t>(isLittle ? std::countr_zero(a ^ b) : std::countl_zero(a ^ b)) / 8;
    }
    while (at < length && first[at] == second[at])
        at++;
    return at;
}

// Whether the names of two neighbours are strictly ascending, as the flags kListAscending and
// kListAscendingSigned (both, one or none).
inline uint32_t orderOfNames(std::string_view first, std::string_view second) {
    size_t length = std::min(first.size(), second.size());
    size_t same = commonStart(first.data(), second.data(), length);
    if (same == length) return first.size() < second.size() ? kListAscending | kListAscendingSigned : 0U;
    auto a = static_cast<unsigned char>(first[same]);
    auto b = static_cast<unsigned char>(second[same]);
    return (a < b ? kListAscending : 0U) |
           (static_cast<signed char>(a) < static_cast<signed char>(b) ? kListAscendingSigned : 0U);
}

// Appends a node that is in no list, of which it is known how its name stands to the last child's (any value
// while there is none).
void appendChild(DSNode* parent, DSNode* node, uint32_t order);

// Allocation that ends the process when memory has run out.
[[noreturn]] void endForLackOfMemory();
void* allocate(size_t size);
void* reallocate(void* memory, size_t size);
char* duplicate(std::string_view text);

// A new node in an allocation of its own; see DSNodeCreate.
DSNode* createNode(std::string_view name, int64_t size, int64_t modifiedTime, int64_t startedTime,
                   uint8_t type);

} // namespace snapshot
