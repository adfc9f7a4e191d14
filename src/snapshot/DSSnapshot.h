/* Taking a snapshot of a directory.
 *
 * The result is a tree whose root, named "/", stands for the directory itself. Each entry below it is
 * recorded as the file system reports it, without following symbolic links: name, size, kind, modification
 * time, last access (in `startedTime`). Named pipes, sockets and devices are not recorded. Nothing is
 * filtered by name but "." and "..". The children of a directory are in the byte order of their names.
 *
 * The directory's path must be absolute; any other gives a root without children and a line on standard
 * error. The path itself may be a symbolic link to a directory. A directory that cannot be read has no
 * children; an entry that vanishes meanwhile, or whose whole path is longer than 1,023 bytes (with a line on
 * standard error), is left out; the rest of the scan goes on.
 *
 * Ownership: the root is the caller's, released with DSNodeDestroy. Lists and strings that are handed in stay
 * the caller's.
 *
 * Threads: a scan runs on the calling thread and calls the callback there. Separate scans share nothing.
 * Without a callback, helper threads may read directories ahead of the scan; the result is the same. */
#pragma once

#include "snapshot/DSList.h"
#include "snapshot/DSNode.h"

#include <stdint.h>

DS_BEGIN_DECLS

/* Called once before each entry is examined. A result other than 0 stops the reading of the current
 * directory: the entry and those after it are not recorded, and the scan goes on with the parent directory's
 * next entry. */
typedef int32_t (*DSScanCallback)(void* context);

/* What a callback context begins with. `currentPath` is set before each call to the path of the entry about
 * to be examined; it is valid during the call only, and NULL once the scan has ended. */
typedef struct DSScanProgressContext {
    void* owner; /* the caller's own */
    const char* currentPath;
} DSScanProgressContext;

typedef struct DSSnapshotOptions {
    DSList* excludingPatterns; /* of strings, or NULL; carried for the caller, not applied by the scan */
    DSList* includingPatterns; /* likewise */
    int32_t useSHA1;           /* carried for the caller; a scan computes no digests */
    DSScanCallback callback;   /* or NULL */
    void* callbackContext;     /* begins with a DSScanProgressContext, or NULL */
    int32_t recursive;         /* 1: with sub-directories; else the directory's own entries only */
    DSList* pathComponents;    /* scratch space of a scan; what is in it is left alone */
} DSSnapshotOptions;

/* A recursive scan without a callback. */
DS_API DSNode* DSNodeCreateDirectorySnapshot(const char* path) DS_NOTHROW;
DS_API DSNode* DSNodeCreateDirectorySnapshotExcluding(const char* path, DSList* patterns) DS_NOTHROW;
DS_API DSNode* DSNodeCreateDirectorySnapshotWithSHA1Excluding(const char* path, DSList* patterns,
                                                              int32_t useSHA1) DS_NOTHROW;

/* A recursive scan with a callback and its context; both may be NULL. */
DS_API DSNode* DSNodeCreateDirectorySnapshotWithSHA1ExcludingUsingCallback(const char* path, DSList* patterns,
                                                                           int32_t useSHA1,
                                                                           DSScanCallback callback,
                                                                           void* callbackContext) DS_NOTHROW;

DS_API DSNode* DSNodeCreateDirectorySnapshotWithOptions(const char* path,
                                                        DSSnapshotOptions* options) DS_NOTHROW;

DS_END_DECLS
