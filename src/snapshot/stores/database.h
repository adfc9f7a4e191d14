// The database behind its public functions; see DSDatabase.h.
#pragma once

#include "snapshot/DSNode.h"

#include <sqlite3.h>

#include <memory>
#include <string>

namespace snapshot {

struct CloseDatabase {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};
struct FinalizeStatement {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

inline constexpr const char* kCreateSnapshotTable =
    "CREATE TABLE IF NOT EXISTS SNAPSHOT(PATH TEXT PRIMARY KEY     NOT NULL,"
    "PATH_LENGTH            INT    NOT NULL,SIZE                   INT     NOT NULL,"
    "TYPE                   INT     NOT NULL,MODIFIED_TIME          NUMERIC,"
    "STARTED_TIME           NUMERIC );";
inline constexpr const char* kCreateStatusTable =
    "CREATE TABLE IF NOT EXISTS STATUS(Id INT PRIMARY KEY     NOT NULL,"
    "Date                     TEXT    NOT NULL,Status                   INT     NOT NULL);";

// Values of the status row. They are stored and never change.
enum class SaveStatus {
    unreadable = 0, // a reader found no table of items, and there was no status yet
    complete = 1,   // every row of the last save is there
    saving = 2      // a save has begun
};

// Writes the status row with the present local time. `statement` is the text of an INSERT with the parameters
// :Id, :Date and :Status. A failure is reported on standard error, except that a statement that cannot be
// prepared is passed over. Whether the row was written.
bool insertStatus(sqlite3* database, const char* statement, SaveStatus status);

// The database's file for the path of a snapshot. SQLite may be built to take a name that begins with "file:"
// for a URI.
inline std::string databaseFile(const char* path) {
    std::string file = std::string(path) + ".db";
    return file.starts_with("file:") ? "./" + file : file;
}

// Writes the rows of what is below a node, the prefix before each path, in the order of the flat file.
// Whether all were written; each that is not is reported on standard error. When the transaction in which
// this began is rolled back on the way (a full disk does that), it ends there, so that no row is stored
// alone. `path` and the flag have no effect.
bool _saveSnapshotDBWithSHA1(const char* prefix, const DSNode* node, const char* path, int useSHA1,
                             sqlite3* database);

// Whether the steps of a save or a load that go well are told on standard error, as the public functions do.
// What fails always is.
enum class Steps { told, silent };

// The public function, and whether all rows and the final status are stored.
bool saveDatabase(const DSNode* root, const char* path, Steps steps = Steps::told);

// The tree of an open database, or NULL after a message when the rows cannot be read; `complete` tells
// whether every row is in the tree.
DSNode* loadDatabase(sqlite3* database, bool& complete);

// The public function.
DSNode* loadDatabase(const char* path, bool& complete, Steps steps = Steps::told);

} // namespace snapshot
