/* The record of one file-system item in a snapshot, and the tree that these records form.
 *
 * Ownership: a tree is owned through its root and released with DSNodeDestroy. A node owns its name, its
 * children and its digest, and releases them itself: none of the three is passed to free(). Strings that a
 * function returns are new and released by the caller with free().
 *
 * Callers read the fields, and may set `size`, `type`, `modifiedTime` and `startedTime`. Everything else
 * changes through functions, because a directory keeps a private index of its children's names: rename with
 * DSNodeSetName, attach with DSNodeAppendChild, detach with DSListRemoveValue on the parent's `children`
 * (and set `parent` to NULL). Nodes are made only by the functions below.
 *
 * Several children may have the same name; every lookup takes the first in list order. Names are compared as
 * exact byte strings.
 *
 * Paths are at most 1,023 bytes. A longer one is refused: the result is NULL and one line on standard error
 * says so.
 *
 * Threads: one thread at a time for each tree; callers serialise. Lookups count as use. */
#pragma once

#include "snapshot/DSList.h"

#include <stdint.h>

DS_BEGIN_DECLS

/* Kinds of items. The values are stored in snapshot files and databases and never change. */
enum {
    DSNodeTypeDirectory = 1,
    DSNodeTypeFile = 2, /* regular file */
    DSNodeTypeSymlink = 3,
    DSNodeTypeOther = 255
};

enum {
    DSNodeHashLength = 20,    /* bytes of a digest (SHA-1) */
    DSNodePathCapacity = 1024 /* bytes of the longest path, its terminator included */
};

typedef struct DSNode {
    char* name;            /* last path component; "/" for a root; a path in nodes that stand for a result */
    int64_t size;          /* bytes; 0 for a directory that was created on the way to an item */
    uint8_t type;          /* DSNodeType... */
    int64_t modifiedTime;  /* whole seconds since 1970-01-01 UTC */
    int64_t startedTime;   /* second stamp: last access after a scan, creation for added items; seconds */
    struct DSNode* parent; /* not owned; NULL for a root and for a detached node */
    DSList* children;      /* of DSNode; never NULL; in order of insertion until digests are computed */
    uint8_t* hash;         /* DSNodeHashLength bytes, or NULL until first computed */
    uint32_t _nameLength;  /* private: strlen(name) */
    uint32_t _flags;       /* private */
} DSNode;

/* A detached node. The name is copied; NULL counts as the empty name. */
DS_API DSNode* DSNodeCreate(const char* name, int64_t size, int64_t modifiedTime, int64_t startedTime,
                            uint8_t type) DS_NOTHROW;

/* The same, appended at the end of the parent's children. */
DS_API DSNode* DSNodeCreateWithParent(DSNode* parent, const char* name, int64_t size, int64_t modifiedTime,
                                      int64_t startedTime, uint8_t type) DS_NOTHROW;

/* Appends the node at the end of the parent's children and sets its `parent`. The node must be detached: it
 * is not removed from a former parent. */
DS_API void DSNodeAppendChild(DSNode* node, DSNode* parent) DS_NOTHROW;

/* Renames the node; the name is copied. Its place among its siblings stays. */
DS_API void DSNodeSetName(DSNode* node, const char* name) DS_NOTHROW;

/* Removes the node from its parent's children, if it has a parent, and releases it with everything below it.
 * Any depth. NULL does nothing. */
DS_API void DSNodeDestroy(DSNode* node) DS_NOTHROW;

/* Number of ancestors: 0 for a root. */
DS_API uint32_t DSNodeGetDepth(const DSNode* node) DS_NOTHROW;

/* The node's path from its root: "/" for the root, /a/b below it. A new buffer of DSNodePathCapacity bytes,
 * zeroed behind the string. */
DS_API char* DSNodeCreateStringWithFullPath(const DSNode* node) DS_NOTHROW;

/* The same below a base path: the base, "/" unless the base ends with one, then the names below the root
 * (so the root itself gives the base with a "/"). An empty or NULL base gives the plain path. */
DS_API char* DSNodeCreateStringWithFullPathAndBasePath(const DSNode* node, const char* base) DS_NOTHROW;

/* The node at an absolute path below the root, or NULL. "/" is the root; one trailing "/" is ignored. */
DS_API DSNode* DSNodeFindWithFullPath(const char* path, DSNode* root) DS_NOTHROW;

/* A detached deep copy, digests included. Any depth. NULL gives NULL. */
DS_API DSNode* DSNodeCopy(const DSNode* node) DS_NOTHROW;

/* Bytes of all regular files in the sub-tree; other kinds count 0, directories only by what is below them. */
DS_API int64_t DSNodeTotalSize(const DSNode* node) DS_NOTHROW;

DS_END_DECLS
