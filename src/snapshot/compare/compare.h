// The passes of which a comparison consists, on arrays that the caller provides.
#pragma once

#include "snapshot/DSCompare.h"

#include <cstdint>

namespace snapshot {

// A growable array of owned strings. The array may be NULL when its capacity is 0.
struct PathsArray {
    char** paths = nullptr;
    uint64_t capacity = 0;
    uint64_t count = 0;
};

// Appends a new copy of the path. A full array grows by 10 entries, a large one by half, so that a million
// entries are not copied a hundred thousand times.
void _addToPathsArray(const char* path, char*** array, uint64_t* capacity, uint64_t* count);

// Both passes of DSNodeCompareSnapshots. An array that is NULL is not collected.
void _findChanges(const DSNode* current, const DSNode* previous, char*** added, uint64_t* addedCapacity,
                  uint64_t* addedCount, char*** deleted, uint64_t* deletedCapacity, uint64_t* deletedCount,
                  char*** modified, uint64_t* modifiedCapacity, uint64_t* modifiedCount);

// One pass over the walked tree: what it has and the other lacks, and what is later in the walked one. Either
// array may be NULL, and so may the other tree.
void _findAddedAndUpdated(const DSNode* walked, const DSNode* other, PathsArray* missing,
                          PathsArray* modified);

// The same with what is unchanged.
void _findAddedUpdatedUnchangedFiles(const DSNode* walked, const DSNode* other, PathsArray* missing,
                                     PathsArray* modified, PathsArray* unchanged);

} // namespace snapshot
