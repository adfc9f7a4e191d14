// What moved: which item of the previous tree an item that is only in the current one was.
#pragma once

#include "snapshot/compare/ItemFields.h"
#include "snapshot/tree/Evidence.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace snapshot {

// Items that are in one of the trees only, with all that is below them, in pre-order.
class LoneItems {
  public:
    static constexpr uint32_t kNone = UINT32_MAX;
    struct Item {
        const DSNode* node;
        uint32_t record;       // its position in the tree's pre-order, and so that of its evidence
        uint32_t parent;       // position of the item that it lies in, if that is alone too
        uint32_t end;          // position behind the last item below it
        uint32_t pair = kNone; // position of what it was, or became
        int32_t movedBy = 0;   // DSMoved...
    };

    void add(const DSNode* node, uint32_t record);
    void finish(); // after the last

    uint32_t count() const { return static_cast<uint32_t>(_items.size()); }
    Item& operator[](uint32_t position) { return _items[position]; }
    const Item& operator[](uint32_t position) const { return _items[position]; }

  private:
    void closeUntil(const DSNode* parent);

    std::vector<Item> _items;
    std::vector<uint32_t> _open; // what the next item may lie in
};

// One tree of a comparison.
struct MoveSide {
    const DSNode* root;
    const DSEvidence* evidence; // or NULL
    LoneItems items;
};

// Pairs what moved. Linear in the number of lone items.
void pairMovedItems(MoveSide& current, MoveSide& previous, const ItemFields& fields);

// Whether it moved only because the directory that it lies in did.
bool isCarriedAlong(const MoveSide& current, const MoveSide& previous, uint32_t position);

// The path of a node below the root, with a terminator; it must fit.
std::string_view pathBelow(const DSNode* root, const DSNode* node, char (&buffer)[DSNodePathCapacity]);

} // namespace snapshot
