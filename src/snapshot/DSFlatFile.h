/* Snapshots in flat text files. docs/formats/flat-file.md describes the format byte by byte, with the outcome
 * of every odd input; the services that exchange snapshots rely on it.
 *
 * A record for each item in pre-order, without anything between records; the root has none:
 *
 *     6|/a.txt12|2|1600000000|1600000100|
 *     |  path  |  | modified   started
 *     |        |  type
 *     |        size
 *     bytes of the path
 *
 * Messages go to standard error. Threads: one thread at a time for each tree. */
#pragma once

#include "snapshot/DSNode.h"

DS_BEGIN_DECLS

/* The same as the next with the flag 0. */
DS_API int DSNodeSaveSnapshot(const DSNode* root, const char* path) DS_NOTHROW;

/* Saves what is below the root. The flag has no effect on the file.
 *
 * Status: 0 when the file was saved, and also when it cannot be created, in which case nothing is written;
 * EOF when writing failed, for example on a full disk.
 *
 * The file is written beside the path and then put in its place, so that the path names the old content or
 * the new one at every moment, even when the process is killed; permissions and attributes of a file that is
 * there stay. A process killed while it saves may leave a file ".dssnapshot-…" behind. The content is written
 * straight into a target that is not a regular file, is a link (or has a second hard link), is a mount point,
 * or whose folder, owner or attributes leave no other way.
 *
 * An item whose path is longer than 1,023 bytes is left out with what is below it, with a message. No root:
 * nothing is touched, the status is EOF. */
DS_API int DSNodeSaveSnapshotWithSHA1(const DSNode* root, const char* path, int useSHA1) DS_NOTHROW;

/* A new tree, or NULL. NULL without a message: the file cannot be opened. NULL with a message: a record's
 * length or numbers are unreadable. A file that ends early, or holds a path that cannot be used, gives the
 * tree of the records before, with a message. With the flag every record is followed by 41 bytes, which are
 * skipped. */
DS_API DSNode* DSNodeLoadSnapshotWithSHA1(const char* path, int withDigests) DS_NOTHROW;

/* A snapshot of a kind. "backup" and "sync": the flat file when there is one at the path, otherwise the
 * database beside it (see DSDatabase.h). Any other kind, or NULL: the flat file, without digests. */
DS_API DSNode* DSNodeLoadSnapshot(const char* path, const char* kind) DS_NOTHROW;

DS_END_DECLS
