// Lower bounds: the least programs that do the engine's work with nothing else. Their tree is packed as
// tightly as the work allows (children of a directory lie side by side, names in a pool, nothing is ever
// freed), their scan has no callbacks, no limits and no error handling.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace bench {

struct BoundNode {
    uint64_t size;
    int64_t modified;
    int64_t accessed;
    BoundNode* children;
    const char* name;
    uint32_t count;
    uint16_t nameLength;
    uint16_t type; // as a snapshot node's
};

// One openat, one directory read, one fstatat for each entry; sorted and stored. With more than one thread,
// directories are shared out over them.
BoundNode* boundScan(const std::string& path, unsigned threads);

// SHA-1 of every node, bottom up, over what a snapshot's digests cover; all are kept. Returns one byte of the
// root's.
unsigned boundDigests(const BoundNode* root);

// A merge walk of two sorted trees; returns how many paths were stored as added, deleted or modified.
size_t boundCompare(const BoundNode* current, const BoundNode* previous);

} // namespace bench
