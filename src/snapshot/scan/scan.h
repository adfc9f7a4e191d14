// The scan behind DSSnapshot.h, and its directory reader for callers who want entries as the C library has
// them.
#pragma once

#include "snapshot/DSSnapshot.h"
#include "snapshot/scan/Asking.h"

#include <dirent.h>

namespace snapshot {

// Scans a directory into a node, behind the children that it has, and returns the node.
DSNode* _takeSnapshotWithOptions(const char* dirPath, DSNode* node, DSSnapshotOptions* options);

// What a callback may do. Where it only watches, entries may be examined before its call, and a result that
// would stop may have no effect.
enum class Callback { mayAct, onlyWatches };

// How a scan reads. The result does not depend on it.
struct Reading {
    // How many threads may examine entries at a time, the caller's included, at most Asking::kMostThreads: 1
    // keeps all of a scan on the caller's thread, 0 goes by how long the disk takes to answer (Pace.h).
    unsigned threads = 0;
    Callback callback = Callback::mayAct;
    Asking* asking = nullptr; // shows others what the threads are at, if any
};

// The same with a choice of how it reads. `isWhole`, if any, tells whether nothing was left out: a path that
// is too long, with what is below it, or what a directory that cannot be read holds. For the tools and the
// benchmarks.
DSNode* takeSnapshot(const char* dirPath, DSNode* node, DSSnapshotOptions* options, const Reading& reading,
                     bool* isWhole = nullptr);

// The same, recursive, without a callback, and with the digest flag set.
DSNode* _takeSnapshot(const char* dirPath, DSNode* root, DSList* patterns);

using EntryFilter = int (*)(const dirent* entry);
using EntryOrder = int (*)(const dirent** first, const dirent** second);

// Reads a directory into a new array of copied entries: those for which the filter, if any, does not return
// 0, in the given order, if any. Returns their number; the array and each entry in it are released with
// free(). On failure returns -1, leaves `entries` alone, and errno says why; otherwise errno is as before.
// The options are there for filters and are not looked at.
int d_scandir(const char* path, dirent*** entries, EntryFilter filter, EntryOrder order,
              const DSSnapshotOptions* options);

// The scan's filter: all but "." and "..".
int _selectFunc(const dirent* entry);

// The byte order of names, as alphasort has it in the C locale.
int _comparFunc(const dirent** first, const dirent** second);

} // namespace snapshot
