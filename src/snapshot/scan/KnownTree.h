// A tree from an earlier look with its evidence, as far as reading it again needs them.
//
// Any thread may ask about a directory, as long as nobody has begun to change it: its node's children stay,
// and so do their names and kinds. Where the tree may differ is noted before several threads ask.
#pragma once

#include "snapshot/tree/Evidence.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace snapshot {

class DirectoryListing;

class KnownTree {
  public:
    static constexpr size_t kNone = SIZE_MAX;

    // An item of the tree: neither for a new one, the node alone for one without evidence.
    struct Item {
        DSNode* node = nullptr;
        size_t record = kNone; // position of its record in the evidence
    };

    // Where directories alone are looked at, `structureOnly`.
    KnownTree(const DSEvidence& evidence, bool structureOnly)
        : _evidence(evidence), _structureOnly(structureOnly) {}

    // Whether it is the directory that was seen.
    bool isSameDirectory(const Item& directory, const EvidenceRecord& now) const;

    // Whether the names in a directory are what they were, by what is seen of it now.
    bool isAsBefore(const Item& directory, const EvidenceRecord& now) const;

    // Calls visit(position, record) for each child of a directory with evidence: its position in the list of
    // children and that of its record. The nodes, which lie all over the memory, are not looked at.
    template <typename Visit>
    void eachRecord(const Item& directory, Visit visit) const {
        size_t next = directory.record + 1;
        for (uint64_t i = 0; i < directory.node->children->count; i++) {
            visit(i, next);
            next += record(next).count;
        }
    }

    // As long as nothing was noted, all may differ, or all directories.
    bool isLookedAt(size_t recordOfChild) const {
        if (!_mayDiffer.empty()) return _mayDiffer[recordOfChild];
        return !_structureOnly || record(recordOfChild).isDirectory;
    }

    // The tree is as it was, but for items that are noted from now on.
    void differsNowhere() { _mayDiffer.assign(_evidence.records.size(), false); }
    void mayDiffer(size_t record) { _mayDiffer[record] = true; }

    // Puts into the listing the names in a directory that is as before, as far as they are looked at; the
    // items are those of the same positions.
    void list(const Item& directory, DirectoryListing& listing, std::vector<Item>& items) const;

    // The items that have the names of a listing.
    std::vector<Item> find(const Item& directory, const DirectoryListing& listing) const;

    const EvidenceRecord& record(size_t position) const { return _evidence.records[position]; }

  private:
    const DSEvidence& _evidence;
    const bool _structureOnly;
    std::vector<bool> _mayDiffer; // by record
};

} // namespace snapshot
