#include "snapshot/tree/NameIndex.h"

#include "snapshot/tree/list_private.h"

#include <bit>
#include <functional>

namespace snapshot {

namespace {

size_t hashOf(std::string_view name) { return std::hash<std::string_view>{}(name); }

} // namespace

NameIndex::NameIndex(const DSList* children) : _slots(std::bit_ceil(2 * children->count + 64)) {
    for (uint64_t i = 0; i < children->count; i++)
        append(nodeOf(children->items[i]));
}

DSNode* NameIndex::find(std::string_view name) const {
    size_t hash = hashOf(name);
    for (size_t at = home(hash); _slots[at].node != nullptr; at = next(at))
        if (_slots[at].hash == hash && nameOf(_slots[at].node) == name) return _slots[at].node;
    return nullptr;
}

void NameIndex::append(DSNode* child) {
    if (2 * (_used + 1) > _slots.size()) grow();
    insert(child, hashOf(nameOf(child)));
}

void NameIndex::insert(DSNode* child, size_t hash) {
    size_t at = home(hash);
    for (; _slots[at].node != nullptr; at = next(at)) {
        if (_slots[at].hash == hash && nameOf(_slots[at].node) == nameOf(child)) {
            _repeated.insert(hash);
            return;
        }
    }
    _slots[at] = {child, hash};
    _used++;
}

void NameIndex::grow() {
    std::vector<Slot> old(2 * _slots.size());
    old.swap(_slots);
    _used = 0;
    for (const Slot& slot : old)
        if (slot.node != nullptr) insert(slot.node, slot.hash);
}

bool NameIndex::remove(const DSNode* child) {
    size_t hash = hashOf(nameOf(child));
    if (_repeated.contains(hash)) return false;
    size_t at = home(hash);
    while (_slots[at].node != child) {
        if (_slots[at].node == nullptr) return true;
        at = next(at);
    }
    // Later slots of the same run move up, so that no search stops at a hole before its target.
    size_t hole = at;
    for (size_t i = next(at); _slots[i].node != nullptr; i = next(i)) {
        size_t distance = (i - home(_slots[i].hash)) & (_slots.size() - 1);
        if (distance >= ((i - hole) & (_slots.size() - 1))) {
            _slots[hole] = _slots[i];
            hole = i;
        }
    }
    _slots[hole].node = nullptr;
    _used--;
    return true;
}

} // namespace snapshot
