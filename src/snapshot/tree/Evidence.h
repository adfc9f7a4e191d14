// What a look at a directory tree knows beyond the tree itself; see DSQuickLook.h.
#pragma once

#include "snapshot/DSNode.h"
#include "snapshot/DSQuickLook.h"

#include <cstdint>
#include <vector>

namespace snapshot {

// Of one node. A record of zeros is of an item that was not looked at, and equals no item that is there.
struct EvidenceRecord {
    uint32_t device = 0;      // as the kernel has it
    bool isDirectory = false; // known from the node
    uint64_t inode = 0;
    int64_t modified = 0; // nanoseconds since 1970, as the change of its own
    int64_t changed = 0;
    int64_t born = 0; // likewise; 0 where the file system does not say. Inodes are used again, births are not
    uint32_t count = 1; // nodes of the sub-tree, the node included
    uint32_t check = 0; // of the node's name and fields, so that evidence of another tree is told
};

// FNV-1a of the name, then of kind, size and modification time.
// (Fowler, Noll, Vo: the 32-bit variant with the offset 2166136261 and the prime 16777619.)
uint32_t checkOfNode(const DSNode& node);

} // namespace snapshot

struct DSEvidence {
    int64_t begun = 0; // of the look, by the wall clock, in nanoseconds since 1970
    std::vector<snapshot::EvidenceRecord> records; // of all nodes in pre-order, the root first; or none
    uint64_t directoriesRead = 0;
};
