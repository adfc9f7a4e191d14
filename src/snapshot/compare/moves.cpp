#include "snapshot/compare/moves.h"

#include "snapshot/tree/list_private.h"
#include "snapshot/tree/lookup.h"

#include <array>
#include <cstring>
#include <unordered_map>
#include <unordered_set>

namespace snapshot {

namespace {

constexpr uint32_t kNone = LoneItems::kNone;

using Key = std::array<uint64_t, 4>;
struct HashOfKey {
    size_t operator()(const Key& key) const {
        uint64_t hash = 0;
        for (uint64_t word : key) {
            hash = (hash ^ word) * 0x9E3779B97F4A7C15U; // odd, so that no bit is lost
            hash ^= hash >> 32;
        }
        return hash;
    }
};

bool isDirectory(const DSNode* node) { return node->type == DSNodeTypeDirectory; }

class Pairing {
  public:
    Pairing(MoveSide& current, MoveSide& previous, const ItemFields& fields)
        : _current(current), _previous(previous), _fields(fields), _added(current.items),
          _deleted(previous.items) {}

    void run() {
        byInode();
        if (_fields.options().content != nullptr) byContent();
        byAttributes();
        byItems();
    }

  private:
    enum class Ambiguous { inOrder, left };

    void pair(uint32_t added, uint32_t deleted, int32_t by) {
        _added[added].pair = deleted;
        _deleted[deleted].pair = added;
        _added[added].movedBy = by;
        _hasMovedDirectory = _hasMovedDirectory || isDirectory(_deleted[deleted].node);
    }

    // Pairs items of equal keys. keyOf(isPrevious, position, key) is false for an item without one. Where
    // several have a key they go together in their order, or are left.
    template <typename KeyOf, typename MayBe>
    void byKeys(int32_t by, Ambiguous ambiguous, KeyOf keyOf, MayBe mayBe) {
        struct Waiting {
            uint32_t first = kNone;
            uint32_t last = kNone;
            uint32_t deleted = 0;
            uint32_t added = 0;
        };
        std::unordered_map<Key, Waiting, HashOfKey> waiting;
        std::vector<uint32_t> next(_deleted.count(), kNone);
        Key key;
        for (uint32_t i = 0; i < _deleted.count(); i++) {
            if (_deleted[i].pair != kNone || !keyOf(true, i, key)) continue;
            Waiting& queue = waiting[key];
            (queue.first == kNone ? queue.first : next[queue.last]) = i;
            queue.last = i;
            queue.deleted++;
        }
        if (waiting.empty()) return;
        std::vector<std::pair<uint32_t, Waiting*>> found;
        for (uint32_t i = 0; i < _added.count(); i++) {
            if (_added[i].pair != kNone || !keyOf(false, i, key)) continue;
            const auto queue = waiting.find(key);
            if (queue == waiting.end()) continue;
            queue->second.added++;
            found.emplace_back(i, &queue->second);
        }
        for (auto [position, queue] : found) {
            const bool isOne = queue->deleted == 1 && queue->added == 1;
            if (queue->first == kNone || (ambiguous == Ambiguous::left && !isOne)) continue;
            const uint32_t deleted = queue->first;
            queue->first = next[deleted];
            if (mayBe(position, deleted)) pair(position, deleted, by);
        }
        carryAlong();
    }
    static bool always(uint32_t /*added*/, uint32_t /*deleted*/) { return true; }

    // An inode is used again for a new item, but with another birth. Where births are not told, the time must
    // be the same.
    void byInode() {
        if (_current.evidence == nullptr || _previous.evidence == nullptr) return;
        byKeys(
            DSMovedByInode, Ambiguous::inOrder,
            [&](bool isPrevious, uint32_t position, Key& key) {
                const MoveSide& side = isPrevious ? _previous : _current;
                const DSNode* node = side.items[position].node;
                const EvidenceRecord* record = recordOf(side, position);
                if (record == nullptr) return false;
                const int64_t stamp = record->born != 0 ? record->born : record->modified;
                const uint64_t kind = node->type | (record->born != 0 ? 0x100U : 0U);
                key = {record->device, record->inode, static_cast<uint64_t>(stamp), kind};
                return true;
            },
            always);
    }

    // NULL when nothing is known of the item.
    static const EvidenceRecord* recordOf(const MoveSide& side, uint32_t position) {
        const LoneItems::Item& item = side.items[position];
        const std::vector<EvidenceRecord>& records = side.evidence->records;
        if (item.record >= records.size()) return nullptr;
        const EvidenceRecord& record = records[item.record];
        return record.inode != 0 && record.check == checkOfNode(*item.node) ? &record : nullptr;
    }

    // First those that kept their names.
    void byContent() {
        readContents();
        for (bool withName : {true, false})
            byKeys(
                DSMovedByContent, Ambiguous::inOrder,
                [&, withName](bool isPrevious, uint32_t position, Key& key) {
                    const auto& contents = isPrevious ? _previousContents : _currentContents;
                    const auto content = contents.find(position);
                    if (content == contents.end()) return false;
                    key = {};
                    memcpy(key.data(), content->second.data(), content->second.size());
                    const DSNode* node = (isPrevious ? _deleted : _added)[position].node;
                    if (withName) key[3] = std::hash<std::string_view>()(nameOf(node));
                    return true;
                },
                always);
    }

    // Of the files for which there is one of the same size on the other side.
    void readContents() {
        std::unordered_set<int64_t> sizes[2];
        const auto isAskedFor = [](const LoneItems::Item& item) {
            return item.pair == kNone && item.node->type == DSNodeTypeFile && item.node->size > 0;
        };
        for (const bool isPrevious : {false, true})
            for (uint32_t i = 0; i < (isPrevious ? _deleted : _added).count(); i++)
                if (const auto& item = (isPrevious ? _deleted : _added)[i]; isAskedFor(item))
                    sizes[isPrevious ? 1 : 0].insert(item.node->size);
        char path[DSNodePathCapacity];
        for (const bool isPrevious : {false, true}) {
            const MoveSide& side = isPrevious ? _previous : _current;
            for (uint32_t i = 0; i < side.items.count(); i++) {
                const LoneItems::Item& item = side.items[i];
                if (!isAskedFor(item) || !sizes[isPrevious ? 0 : 1].contains(item.node->size)) continue;
                const char* text = pathBelow(side.root, item.node, path).data();
                if (const auto digest = _fields.contentOf(item.node, isPrevious, text))
                    (isPrevious ? _previousContents : _currentContents).emplace(i, *digest);
            }
        }
    }

    void byAttributes() {
        byKeys(
            DSMovedByAttributes, Ambiguous::left,
            [&](bool isPrevious, uint32_t position, Key& key) {
                const DSNode* node = (isPrevious ? _deleted : _added)[position].node;
                key = {node->type, static_cast<uint64_t>(node->size),
                       static_cast<uint64_t>(node->modifiedTime), 0};
                return true;
            },
            [&](uint32_t added, uint32_t deleted) {
                const DSNode* node = _added[added].node;
                if (isDirectory(node)) return haveCommonName(node, _deleted[deleted].node);
                return !_currentContents.contains(added) || !_previousContents.contains(deleted);
            });
    }

    // Or nothing in them. Many directories are of one size, and those of one archive of one time.
    static bool haveCommonName(const DSNode* first, const DSNode* second) {
        const uint64_t count = first->children->count;
        if (count == 0 || second->children->count == 0) return count == second->children->count;
        for (uint64_t i = 0; i < count; i++)
            if (findChild(second, nameOf(childAt(first, i))) != nullptr) return true;
        return false;
    }

    // What a directory that moved has under the same name is the same item.
    void carryAlong() {
        if (!_hasMovedDirectory) return;
        if (_positions.empty())
            for (uint32_t i = 0; i < _deleted.count(); i++)
                _positions.emplace(_deleted[i].node, i);
        for (uint32_t i = 0; i < _added.count(); i++) {
            const LoneItems::Item& item = _added[i];
            if (item.pair != kNone || item.parent == kNone || _added[item.parent].pair == kNone) continue;
            const DSNode* was = findChild(_deleted[_added[item.parent].pair].node, nameOf(item.node));
            const auto position = _positions.find(was);
            if (position != _positions.end() && _deleted[position->second].pair == kNone)
                pair(i, position->second, DSMovedByName);
        }
    }

    // The deepest first, so that what is found of one counts for the one above it.
    void byItems() {
        for (uint32_t i = _added.count(); i-- > 0;)
            if (_added[i].pair == kNone && isDirectory(_added[i].node)) {
                const uint32_t was = formerDirectoryOf(i);
                if (was != kNone) pair(i, was, DSMovedByItems);
            }
        carryAlong();
    }

    // The directory of which more than half of the items are in this one, each under its name. There is at
    // most one that could be: the majority vote of Boyer and Moore, which is then counted.
    uint32_t formerDirectoryOf(uint32_t directory) {
        uint32_t elected = kNone;
        uint64_t votes = 0;
        const uint32_t end = _added[directory].end;
        for (uint32_t i = directory + 1; i < end; i = _added[i].end) {
            const uint32_t from = formerParentOf(i);
            if (from == kNone) continue;
            if (votes == 0) elected = from;
            votes = from == elected ? votes + 1 : votes - 1;
        }
        if (elected == kNone) return kNone;
        votes = 0;
        for (uint32_t i = directory + 1; i < end; i = _added[i].end)
            if (formerParentOf(i) == elected) votes++;
        return 2 * votes > _deleted[elected].node->children->count ? elected : kNone;
    }

    // Of an item that has kept its name; kNone when that directory is still there, or moved.
    uint32_t formerParentOf(uint32_t position) const {
        const LoneItems::Item& item = _added[position];
        if (item.pair == kNone) return kNone;
        const LoneItems::Item& was = _deleted[item.pair];
        if (was.parent == kNone || _deleted[was.parent].pair != kNone) return kNone;
        const bool isSame = nameOf(was.node) == nameOf(item.node) && isDirectory(_deleted[was.parent].node);
        return isSame ? was.parent : kNone;
    }

    MoveSide& _current;
    MoveSide& _previous;
    const ItemFields& _fields;
    LoneItems& _added;
    LoneItems& _deleted;
    bool _hasMovedDirectory = false;
    std::unordered_map<const DSNode*, uint32_t> _positions; // of what is deleted, once it is needed
    std::unordered_map<uint32_t, ItemFields::Digest> _currentContents; // by positions
    std::unordered_map<uint32_t, ItemFields::Digest> _previousContents;
};

} // namespace

void LoneItems::add(const DSNode* node, uint32_t record) {
    closeUntil(node->parent);
    _items.push_back({node, record, _open.empty() ? kNone : _open.back(), 0});
    _open.push_back(count() - 1);
}

void LoneItems::finish() { closeUntil(nullptr); }

void LoneItems::closeUntil(const DSNode* parent) {
    for (; !_open.empty() && _items[_open.back()].node != parent; _open.pop_back())
        _items[_open.back()].end = count();
}

void pairMovedItems(MoveSide& current, MoveSide& previous, const ItemFields& fields) {
    if (current.items.count() > 0 && previous.items.count() > 0) Pairing(current, previous, fields).run();
}

bool isCarriedAlong(const MoveSide& current, const MoveSide& previous, uint32_t position) {
    const LoneItems::Item& item = current.items[position];
    const LoneItems::Item& was = previous.items[item.pair];
    return item.parent != kNone && was.parent != kNone && current.items[item.parent].pair == was.parent &&
           nameOf(item.node) == nameOf(was.node);
}

std::string_view pathBelow(const DSNode* root, const DSNode* node, char (&buffer)[DSNodePathCapacity]) {
    char* end = buffer + sizeof(buffer) - 1;
    char* start = end;
    *end = '\0';
    for (; node != root && node != nullptr; node = node->parent) {
        start -= node->_nameLength;
        memcpy(start, node->name, node->_nameLength);
        *--start = '/';
    }
    return {start, static_cast<size_t>(end - start)};
}

} // namespace snapshot
