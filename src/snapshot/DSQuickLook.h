/* Taking a snapshot again without doing again what cannot have changed.
 *
 * A tree alone does not tell enough: its times are whole seconds, and it knows no inodes. The evidence of a
 * look is what the file system said of each item beyond the tree, and when the look began. It lies in a file
 * beside the store. Without it, or with one that is not of this tree, a look is a whole scan: that costs
 * time, never correctness.
 *
 * A directory is read again unless its device, inode, modification and change time are what they were, and
 * lay at least two seconds before the look that saw them: a later change within the same tick of the file
 * system's clock would not show.
 *
 * Ownership: evidence is the caller's, released with DSEvidenceDestroy. Between two looks nothing else
 * changes the tree. Threads: one at a time for a tree with its evidence. */
#pragma once

#include "snapshot/DSNode.h"

#include <stdint.h>

DS_BEGIN_DECLS

typedef struct DSEvidence DSEvidence;

/* Evidence of nothing: with it a look is a whole scan. NULL: there is no memory for it. */
DS_API DSEvidence* DSEvidenceCreate(void) DS_NOTHROW;
DS_API void DSEvidenceDestroy(DSEvidence* evidence) DS_NOTHROW;

/* Reads evidence of exactly this tree, as it was saved or loaded; evidence of nothing when the file is not
 * there, not whole, or of another tree. */
DS_API DSEvidence* DSEvidenceLoad(const char* path, const DSNode* root) DS_NOTHROW;

/* 0 when all is in the file; the old file, if any, stays until then. */
DS_API int DSEvidenceSave(const DSEvidence* evidence, const char* path) DS_NOTHROW;

/* What is looked at. */
enum {
    DSQuickLookItems = 0,    /* every item; what is found is what a scan would find */
    DSQuickLookStructure = 1 /* directories alone: finds what was added, removed or renamed, and not a file
                              * that was written in place, whose size and times stay as they were */
};

/* Makes the tree what a scan of the directory would give, and the evidence this look's. The tree is one of
 * the same directory, as a scan or a store gave it; an empty one makes it a whole scan. Nodes of what is
 * still there stay, so that only their fields change. Last accesses (`startedTime`) are looked at together
 * with the item that has them. The path must be absolute. Returns 0, or -1 when a part was left out, as a
 * scan leaves it out: a directory that cannot be read, or an item whose path is too long. */
DS_API int DSNodeLookAgain(DSNode* root, DSEvidence* evidence, const char* path, int32_t look) DS_NOTHROW;

/* Directories that the last look read, rather than believed to be as they were. */
DS_API uint64_t DSEvidenceDirectoriesRead(const DSEvidence* evidence) DS_NOTHROW;

DS_END_DECLS
