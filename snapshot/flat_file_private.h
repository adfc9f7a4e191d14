// The flat file behind its public functions; see flat_file.h.
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

// Reads a descriptor from where it stands to its end; it stays open. `path` is for messages.
DSNode* loadFlatFile(int descriptor, const char* path, bool withDigests);

} // namespace snapshot
