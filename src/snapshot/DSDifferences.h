/* What differs between two snapshots of a directory, one difference at a time: which fields of an item, and
 * what moved.
 *
 * An item is identified by its path, as in DSCompare.h: one whose path is in both trees did not move. Of two
 * directories only the type counts. Nothing is collected for the caller: memory grows with the items that
 * are in one tree only, and only where moves are looked for. Time grows with the number of items.
 *
 * The content of files is not in a tree. Who has digests of it hands them in by a function.
 *
 * An item whose path is longer than 1,023 bytes is left out with everything below it, and a line on standard
 * error says so. Threads: as for lookups in both trees. */
#pragma once

#include "snapshot/DSNode.h"
#include "snapshot/DSQuickLook.h"

#include <stdint.h>

DS_BEGIN_DECLS

/* The fields of an item that can differ. */
enum {
    DSFieldType = 1,
    DSFieldSize = 2,
    DSFieldModifiedTime = 4,
    DSFieldContent = 8 /* of two regular files; of two sizes it differs without a question */
};

enum {
    DSDifferenceAdded = 1,
    DSDifferenceDeleted = 2,
    DSDifferenceModified = 3,
    DSDifferenceMoved = 4,   /* modified too when `fields` is not 0 */
    DSDifferenceUnknown = 5, /* the content counts, is not known, and no other field differs */
};

/* How a moved item was known. */
enum {
    DSMovedByInode = 1,      /* device, inode and birth are the same; without births the time too */
    DSMovedByContent = 2,    /* the digest of a file that is not empty */
    DSMovedByAttributes = 3, /* type, size and time, which no other item in question has; of directories a
                              * name in them too */
    DSMovedByName = 4,       /* it has its name in a directory that moved */
    DSMovedByItems = 5       /* more than half of a directory's items are in it */
};

/* Valid during the call. */
typedef struct DSDifference {
    int32_t kind;             /* DSDifference... */
    uint32_t fields;          /* DSField... that differ; of an item that is there twice */
    int32_t movedBy;          /* DSMoved..., or 0 */
    const DSNode* current;    /* NULL when deleted */
    const DSNode* previous;   /* NULL when added */
    const char* path;         /* in the current tree; of what is deleted in the previous one */
    const char* previousPath; /* of what moved, else NULL */
} DSDifference;

/* A result other than 0 ends the comparison. */
typedef int32_t (*DSDifferenceCallback)(const DSDifference* difference, void* context);

/* The DSNodeHashLength bytes of the digest of a file's content, or NULL when it is not known. They are
 * looked at before the next call. `isPrevious` says of which tree the node is. The same question may be put
 * again. */
typedef const uint8_t* (*DSContentCallback)(const DSNode* node, int32_t isPrevious, const char* path,
                                            void* context);

typedef struct DSDifferenceOptions {
    uint32_t fields;   /* DSField... that count */
    int32_t laterOnly; /* 1: only a later time makes an item modified, whatever else differs, as in
                        * DSCompare.h; `fields` are then named only */
    int32_t moves;     /* 1: looks for what moved */
    const DSEvidence* currentEvidence; /* of exactly these trees, or NULL; used where both are there */
    const DSEvidence* previousEvidence;
    DSContentCallback content; /* or NULL */
    void* contentContext;
} DSDifferenceOptions;

/* Calls back for each difference: in pre-order of the two trees together, where a directory's children are
 * ordered by their names. With moves first what is modified or unknown, then, in pre-order of the current
 * tree, what moved or was added, then, in that of the previous one, what was deleted.
 *
 * A directory that moved takes along what is in it: that is compared as if it lay where it was, and said only
 * when it differs (as moved, with its fields), was added or was deleted. Items of equal evidence, such as
 * two names of a file, go together in their order.
 *
 * Returns 0, or 1 when the callback ended it. */
DS_API int32_t DSNodeEnumerateDifferences(const DSNode* current, const DSNode* previous,
                                          const DSDifferenceOptions* options, DSDifferenceCallback callback,
                                          void* context) DS_NOTHROW;

DS_END_DECLS
