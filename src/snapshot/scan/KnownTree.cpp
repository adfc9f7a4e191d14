#include "snapshot/scan/KnownTree.h"

#include "snapshot/scan/DirectoryListing.h"
#include "snapshot/tree/list_private.h"

#include <string_view>
#include <unordered_map>

namespace snapshot {

namespace {

constexpr int64_t kTooRecent = 2'000'000'000; // nanoseconds: the coarsest clock of a file system, FAT's

} // namespace

bool KnownTree::isSameDirectory(const Item& directory, const EvidenceRecord& now) const {
    if (directory.record == kNone || now.inode == 0) return false;
    const EvidenceRecord& before = record(directory.record);
    return before.device == now.device && before.inode == now.inode;
}

bool KnownTree::isAsBefore(const Item& directory, const EvidenceRecord& now) const {
    if (!isSameDirectory(directory, now)) return false;
    const EvidenceRecord& before = record(directory.record);
    const int64_t settled = _evidence.begun - kTooRecent;
    return before.modified == now.modified && before.changed == now.changed && before.modified < settled &&
           before.changed < settled;
}

void KnownTree::list(const Item& directory, DirectoryListing& listing, std::vector<Item>& items) const {
    listing.clear();
    items.clear();
    eachRecord(directory, [&](uint64_t position, size_t ofChild) {
        if (!isLookedAt(ofChild)) return;
        DSNode* child = childAt(directory.node, position);
        listing.addKnown(nameOf(child));
        items.push_back({child, ofChild});
    });
}

std::vector<KnownTree::Item> KnownTree::find(const Item& directory, const DirectoryListing& listing) const {
    std::vector<Item> items(listing.count());
    if (directory.node == nullptr) return items;
    std::unordered_map<std::string_view, Item> byName;
    const auto add = [&](uint64_t position, size_t ofChild) {
        DSNode* child = childAt(directory.node, position);
        byName.try_emplace(nameOf(child), Item{child, ofChild});
    };
    const uint64_t count = directory.node->children->count;
    byName.reserve(count);
    if (directory.record != kNone)
        eachRecord(directory, add);
    else
        for (uint64_t i = 0; i < count; i++)
            add(i, kNone);
    for (size_t i = 0; i < items.size(); i++) {
        const auto found = byName.find(listing.name(i));
        if (found != byName.end()) items[i] = found->second;
    }
    return items;
}

} // namespace snapshot
