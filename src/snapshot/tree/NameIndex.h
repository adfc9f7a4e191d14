// The private name index of one large directory: from a name to the first child that has it.
#pragma once

#include "snapshot/DSNode.h"

#include <cstddef>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace snapshot {

// A hash table with open addressing; it refers to the nodes and owns nothing but itself.
class NameIndex {
  public:
    explicit NameIndex(const DSList* children);

    DSNode* find(std::string_view name) const;

    // Takes in a child that comes last in list order.
    void append(DSNode* child);

    // Forgets a child that leaves the list or changes its name. False when the index cannot tell which child
    // comes first now, because the name is repeated: it must then be thrown away.
    bool remove(const DSNode* child);

    // Whether a name was ever repeated. While none is, the order of the list does not matter to the index.
    bool hasRepeatedNames() const { return !_repeated.empty(); }

  private:
    struct Slot {
        DSNode* node; // NULL while free
        size_t hash;
    };

    size_t home(size_t hash) const { return hash & (_slots.size() - 1); }
    size_t next(size_t slot) const { return (slot + 1) & (_slots.size() - 1); }
    void insert(DSNode* child, size_t hash);
    void grow();

    std::vector<Slot> _slots; // a power of two of them, at most half in use
    size_t _used = 0;
    std::unordered_set<size_t> _repeated; // hashes of names that several children have, or had
};

} // namespace snapshot
