/* Comparing two snapshots of the same directory by names and metadata.
 *
 * An item is identified by its path; its counterpart is the first item with that path in the other tree,
 * whatever its kind. The results are arrays of full paths (/a/b.txt), each in pre-order: added, modified and
 * unchanged as they lie in the current tree, deleted as in the previous one.
 *
 * Ownership: each array and each string in it is new, and released by the caller with free(). An array is
 * optional: when its pointer is NULL the category is not collected and its count is not touched. A requested
 * array is always allocated, even when it stays empty.
 *
 * An item whose path is longer than 1,023 bytes is left out with everything below it, and a line on standard
 * error says so. Trees of any depth. */
#pragma once

#include "snapshot/DSNode.h"

#include <stdint.h>

DS_BEGIN_DECLS

/* Added: in the current tree only. Deleted: in the previous one only. Modified: in both, with a later
 * modification time in the current tree. */
DS_API void DSNodeCompareSnapshots(const DSNode* current, const DSNode* previous, char*** added,
                                   uint64_t* addedCount, char*** deleted, uint64_t* deletedCount,
                                   char*** modified, uint64_t* modifiedCount) DS_NOTHROW;

/* The same with unchanged items: directories in both trees, and regular files of the same size and
 * modification time. What is unchanged is not modified; without the unchanged array everything counts as
 * above. The flag has no effect. */
DS_API void DSNodeCompareSnapshotsWithSHA1(const DSNode* current, const DSNode* previous, char*** added,
                                           uint64_t* addedCount, char*** deleted, uint64_t* deletedCount,
                                           char*** modified, uint64_t* modifiedCount, char*** unchanged,
                                           uint64_t* unchangedCount, int32_t useSHA1) DS_NOTHROW;

DS_END_DECLS
