#include "snapshot/compare/compare.h"

#include "snapshot/compare/TreeWalk.h"
#include "snapshot/tree/allocation.h"

#include <algorithm>
#include <string_view>

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

// Sorts what a walk meets into the arrays.
class Comparison {
  public:
    explicit Comparison(const Results& results) : _results(results) {}

    void run(const DSNode* current, const DSNode* previous) {
        const bool forward =
            _results.added != nullptr || _results.modified != nullptr || _results.unchanged != nullptr;
        TreeWalk<Comparison>(*this).run(current, previous, forward, _results.deleted != nullptr);
    }

    PathsArray* judge(const DSNode* a, const DSNode* b, bool forward, bool backward) const {
        if (forward && a != nullptr) return b == nullptr ? _results.added : arrayOfPair(a, b);
        return backward && a == nullptr ? _results.deleted : nullptr;
    }
    static bool report(PathsArray* array, std::string_view path, const DSNode*, const DSNode*) {
        addPath(array, path);
        return true;
    }

  private:
    PathsArray* arrayOfPair(const DSNode* a, const DSNode* b) const {
        if (_results.unchanged != nullptr) {
            bool isSameFile =
                a->type == DSNodeTypeFile && a->size == b->size && a->modifiedTime == b->modifiedTime;
            if (a->type == DSNodeTypeDirectory || isSameFile) return _results.unchanged;
        }
        return a->modifiedTime > b->modifiedTime ? _results.modified : nullptr;
    }

    Results _results;
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
