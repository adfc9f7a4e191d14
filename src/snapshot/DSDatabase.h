/* Snapshots in SQLite databases: the snapshot's path followed by ".db". docs/formats/database.md describes
 * the tables, the status protocol and the outcome of every odd database; the services that exchange snapshots
 * rely on it.
 *
 * Every call opens and closes its own connection; a database that is busy is not waited for. Messages go to
 * standard error. Threads: one thread at a time for each tree. */
#pragma once

#include "snapshot/DSNode.h"

DS_BEGIN_DECLS

/* Saves what is below the root into the database of the path, which gets a file and tables when there are
 * none. The flag has no effect. Rows of paths that are no longer in the tree stay.
 *
 * The rows become visible together, so that the database loads as before the save or as after it at every
 * moment, even when the process is killed. The status row says 2 from the start and 1 once every row of the
 * tree is stored; it stays at 2 when one is not.
 *
 * What SQLite refuses is reported by messages and nothing else; the save goes on with its next step. No root:
 * nothing is touched. */
DS_API void DSNodeSaveSnapshotDBWithSHA1(const DSNode* root, const char* path, int useSHA1) DS_NOTHROW;

/* A new tree of the rows that are there, whatever the status row says; NULL when there is no database file
 * (without a message), when it cannot be opened, or when the table of items cannot be read to its end. In the
 * last case the status row 0 is written, unless there is a status row. */
DS_API DSNode* DSNodeLoadSnapshotDBWithSHA1(const char* path) DS_NOTHROW;

DS_END_DECLS
