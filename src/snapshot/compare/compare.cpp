#include "snapshot/compare/compare.h"

#include "snapshot/tree/allocation.h"
#include "snapshot/tree/list_private.h"
#include "snapshot/tree/lookup.h"
#include "snapshot/tree/name_order.h"
#include "snapshot/tree/path_utils.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

namespace snapshot {

namespace {

constexpr uint64_t kFirstCapacity = 10;

void addPath(PathsArray* array, std::string_view path) {
    if (array->count == array->capacity) {
        array->capacity = array->count + std::max(kFirstCapacity, array->count > 1000 ? array->count / 2 : 0);
        array->paths = static_cast<char**>(reallocate(array->paths, array->capacity * sizeof(char*)));
    }
    array->paths[array->count++] = duplicate(path);
}

// Where the results go; NULL is not collected.
struct Results {
    PathsArray* added; // in the current tree only
    PathsArray* deleted;
    PathsArray* modified;
    PathsArray* unchanged;
};

// Walks two trees at once. The two passes of a comparison fill different arrays, so they may run side by
// side: where the children of two counterparts are in one strict order, which is what scans and digest
// computations leave, a single merge of the two lists serves both passes and meets the children of either
// side in their list order. Where they are not, the passes go over that sub-tree one after the other and look
// counterparts up by name.
class Comparison {
  public:
    explicit Comparison(const Results& results) : _results(results) {}

    void run(const DSNode* current, const DSNode* previous) {
        bool forward =
            _results.added != nullptr || _results.modified != nullptr || _results.unchanged != nullptr;
        enter(current, previous, 0, forward, _results.deleted != nullptr);
        while (!_levels.empty()) {
            Level& level = _levels.back();
            const DSNode* a = level.forward ? childOf(level.current, level.nextCurrent) : nullptr;
            const DSNode* b = level.backward ? childOf(level.previous, level.nextPrevious) : nullptr;
            if (a == nullptr && b == nullptr) {
                _levels.pop_back();
                continue;
            }
            if (level.order == 0) {
                lookUp(level, a, b);
            } else {
                merge(level, a, b);
            }
            visit(Level(level), a, b);
        }
    }

  private:
    // Two counterparts whose children are compared; either may be NULL.
    struct Level {
        const DSNode* current;
        const DSNode* previous;
        uint64_t nextCurrent; // positions of the children to come
        uint64_t nextPrevious;
        size_t pathEnd; // of the pair's path in _path; 0 for the roots
        uint32_t order; // flag of the order that both lists are in; 0 when there is none
        bool forward;   // wanted here: what is added, modified, unchanged
        bool backward;  // wanted here: what is deleted
    };

    static uint64_t countOf(const DSNode* node) { return node != nullptr ? node->children->count : 0; }

    static const DSNode* childOf(const DSNode* node, uint64_t position) {
        return position < countOf(node) ? childAt(node, position) : nullptr;
    }

    static uint32_t orderOf(const DSNode* node) {
        constexpr uint32_t both = kListAscending | kListAscendingSigned;
        return countOf(node) == 0 ? both : node->children->_flags & both;
    }

    void enter(const DSNode* current, const DSNode* previous, size_t pathEnd, bool forward, bool backward) {
        forward = forward && countOf(current) > 0;
        backward = backward && countOf(previous) > 0;
        uint32_t order = orderOf(current) & orderOf(previous);
        if ((order & kListAscending) != 0) order = kListAscending; // one order will do
        if (order != 0) {
            if (forward || backward)
                _levels.push_back({current, previous, 0, 0, pathEnd, order, forward, backward});
        } else {
            if (backward) _levels.push_back({current, previous, 0, 0, pathEnd, 0, false, true});
            if (forward) _levels.push_back({current, previous, 0, 0, pathEnd, 0, true, false});
        }
    }

    // Makes `a` and `b` the next counterparts, or leaves the one that has none, and steps over them.
    static void merge(Level& level, const DSNode*& a, const DSNode*& b) {
        // A side whose own children are not wanted still holds counterparts.
        if (!level.forward) a = childOf(level.current, level.nextCurrent);
        if (!level.backward) b = childOf(level.previous, level.nextPrevious);
        if (a != nullptr && b != nullptr && nameOf(a) != nameOf(b)) {
            if ((orderOfNames(nameOf(a), nameOf(b)) & level.order) != 0)
                b = nullptr;
            else
                a = nullptr;
        }
        if (a != nullptr) level.nextCurrent++;
        if (b != nullptr) level.nextPrevious++;
    }

    // The same without an order: one side is walked at a time, and the other looked up.
    static void lookUp(Level& level, const DSNode*& a, const DSNode*& b) {
        if (a != nullptr) {
            level.nextCurrent++;
            b = level.previous != nullptr ? findChild(level.previous, nameOf(a)) : nullptr;
        } else {
            level.nextPrevious++;
            a = level.current != nullptr ? findChild(level.current, nameOf(b)) : nullptr;
        }
    }

    // Reports a pair of counterparts, or an item without one, and goes below it.
    void visit(const Level& level, const DSNode* a, const DSNode* b) {
        PathsArray* array = nullptr;
        if (level.forward && a != nullptr)
            array = b == nullptr ? _results.added : arrayOfPair(a, b);
        else if (level.backward && a == nullptr)
            array = _results.deleted;
        bool forward = level.forward && a != nullptr && a->type == DSNodeTypeDirectory && countOf(a) > 0;
        bool backward = level.backward && b != nullptr && b->type == DSNodeTypeDirectory && countOf(b) > 0;
        if (array == nullptr && !forward && !backward) return;

        std::string_view name = nameOf(a != nullptr ? a : b);
        size_t end = level.pathEnd + 1 + name.size();
        if (end >= DSNodePathCapacity) {
            reportPathTooLong(name);
            return;
        }
        _path[level.pathEnd] = '/';
        memcpy(_path + level.pathEnd + 1, name.data(), name.size());
        if (array != nullptr) addPath(array, {_path, end});
        enter(a, b, end, forward, backward);
    }

    PathsArray* arrayOfPair(const DSNode* a, const DSNode* b) const {
        if (_results.unchanged != nullptr) {
            bool isSameFile =
                a->type == DSNodeTypeFile && a->size == b->size && a->modifiedTime == b->modifiedTime;
            if (a->type == DSNodeTypeDirectory || isSameFile) return _results.unchanged;
        }
        return a->modifiedTime > b->modifiedTime ? _results.modified : nullptr;
    }

    Results _results;
    std::vector<Level> _levels;
    char _path[DSNodePathCapacity];
};

// A result of the C interface: an array and a count at the caller's, both optional.
class Output {
  public:
    Output(char*** array, uint64_t* count) : _array(array), _count(count) {
        if (array == nullptr) return;
        _collected.capacity = kFirstCapacity;
        _collected.paths = static_cast<char**>(allocate(kFirstCapacity * sizeof(char*)));
    }
    ~Output() {
        if (_array == nullptr) return;
        *_array = _collected.paths;
        if (_count != nullptr) *_count = _collected.count;
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    PathsArray* collected() { return _array != nullptr ? &_collected : nullptr; }

  private:
    char*** _array;
    uint64_t* _count;
    PathsArray _collected;
};

// An array of _findChanges while it grows.
class Borrowed {
  public:
    Borrowed(char*** array, uint64_t* capacity, uint64_t* count)
        : _array(array), _capacity(capacity), _count(count) {
        if (array != nullptr) _collected = {*array, *capacity, *count};
    }
    ~Borrowed() {
        if (_array == nullptr) return;
        *_array = _collected.paths;
        *_capacity = _collected.capacity;
        *_count = _collected.count;
    }
    Borrowed(const Borrowed&) = delete;
    Borrowed& operator=(const Borrowed&) = delete;

    PathsArray* collected() { return _array != nullptr ? &_collected : nullptr; }

  private:
    char*** _array;
    uint64_t* _capacity;
    uint64_t* _count;
    PathsArray _collected;
};

} // namespace

void _addToPathsArray(const char* path, char*** array, uint64_t* capacity, uint64_t* count) {
    addPath(Borrowed(array, capacity, count).collected(), path);
}

// NOLINTNEXTLINE(readability-function-size): the interface has its outputs one by one
void _findChanges(const DSNode* current, const DSNode* previous, char*** added, uint64_t* addedCapacity,
                  uint64_t* addedCount, char*** deleted, uint64_t* deletedCapacity, uint64_t* deletedCount,
                  char*** modified, uint64_t* modifiedCapacity, uint64_t* modifiedCount) {
    Borrowed a(added, addedCapacity, addedCount);
    Borrowed d(deleted, deletedCapacity, deletedCount);
    Borrowed m(modified, modifiedCapacity, modifiedCount);
    Comparison({a.collected(), d.collected(), m.collected(), nullptr}).run(current, previous);
}

void _findAddedAndUpdated(const DSNode* walked, const DSNode* other, PathsArray* missing,
                          PathsArray* modified) {
    Comparison({missing, nullptr, modified, nullptr}).run(walked, other);
}

void _findAddedUpdatedUnchangedFiles(const DSNode* walked, const DSNode* other, PathsArray* missing,
                                     PathsArray* modified, PathsArray* unchanged) {
    Comparison({missing, nullptr, modified, unchanged}).run(walked, other);
}

} // namespace snapshot

using namespace snapshot;

// NOLINTNEXTLINE(readability-function-size): the interface has its outputs one by one
void DSNodeCompareSnapshots(const DSNode* current, const DSNode* previous, char*** added,
                            uint64_t* addedCount, char*** deleted, uint64_t* deletedCount, char*** modified,
                            uint64_t* modifiedCount) noexcept {
    DSNodeCompareSnapshotsWithSHA1(current, previous, added, addedCount, deleted, deletedCount, modified,
                                   modifiedCount, nullptr, nullptr, 0);
}

// NOLINTNEXTLINE(readability-function-size): the interface has its outputs one by one
void DSNodeCompareSnapshotsWithSHA1(const DSNode* current, const DSNode* previous, char*** added,
                                    uint64_t* addedCount, char*** deleted, uint64_t* deletedCount,
                                    char*** modified, uint64_t* modifiedCount, char*** unchanged,
                                    uint64_t* unchangedCount, int32_t useSHA1) noexcept {
    (void)useSHA1;
    Output a(added, addedCount);
    Output d(deleted, deletedCount);
    Output m(modified, modifiedCount);
    Output u(unchanged, unchangedCount);
    Comparison({a.collected(), d.collected(), m.collected(), u.collected()}).run(current, previous);
}
