// The flat file behind its public functions; see DSFlatFile.h.
#pragma once

#include "snapshot/DSNode.h"

#include <cstdio>

namespace snapshot {

// Writes the records of what is below a node, the prefix before each path; errors show in ferror(file). The
// flag has no effect.
void _saveSnapshotWithSHA1(const char* prefix, const DSNode* node, FILE* file, int useSHA1);
void _saveSnapshot(const char* prefix, const DSNode* node, FILE* file);

enum class SaveResult {
    saved,
    notCreated, // the file cannot be created; nothing was written
    failed      // writing or putting it in place failed
};
SaveResult saveFlatFile(const DSNode* root, const char* path);

// The public function; `complete` tells whether the whole file was read.
DSNode* loadFlatFile(const char* path, bool withDigests, bool& complete);

// Whether a snapshot of this kind is to be read from its database.
bool isInDatabase(const char* path, const char* kind);

} // namespace snapshot
