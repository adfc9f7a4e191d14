#include "snapshot/DSDatabase.h"
#include "snapshot/stores/StoredItems.h"
#include "snapshot/stores/database.h"

#include <cstdio>
#include <ctime>

namespace snapshot {

namespace {

constexpr const char* kReplaceStatus =
    "INSERT OR REPLACE INTO STATUS (Id, Date, Status)VALUES(:Id,:Date,:Status);";
constexpr const char* kReplaceItem =
    "INSERT OR REPLACE INTO SNAPSHOT (PATH, PATH_LENGTH, SIZE, TYPE, MODIFIED_TIME, STARTED_TIME)"
    "VALUES(:PATH,:PATH_LENGTH,:SIZE,:TYPE,:MODIFIED_TIME,:STARTED_TIME);";

bool execute(sqlite3* database, const char* sql) {
    return sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

// One statement serves the whole tree: it is free again once a row is written, before the row's children are.
// Where it cannot be prepared, every directory tries again.
class RowWriter {
  public:
    explicit RowWriter(sqlite3* database)
        : _database(database), _inTransaction(sqlite3_get_autocommit(database) == 0) {}

    void enter() {
        if (_statement != nullptr || _lost) return;
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(_database, kReplaceItem, -1, &statement, nullptr) != SQLITE_OK)
            fprintf(stderr, "SQL Snapshot table prepare error: %s\n", sqlite3_errmsg(_database));
        _statement.reset(statement);
    }

    void item(std::string_view path, const DSNode& node) {
        if (_lost) return;
        if (_statement == nullptr) {
            reportFailure(path);
            return;
        }
        sqlite3_stmt* statement = _statement.get();
        // The path stays where it is until the row is written.
        sqlite3_bind_text64(statement, 1, path.data(), path.size(), SQLITE_STATIC, SQLITE_UTF8);
        sqlite3_bind_int64(statement, 2, static_cast<sqlite3_int64>(path.size()));
        sqlite3_bind_int64(statement, 3, node.size);
        sqlite3_bind_int64(statement, 4, node.type);
        sqlite3_bind_double(statement, 5, static_cast<double>(node.modifiedTime));
        sqlite3_bind_double(statement, 6, static_cast<double>(node.startedTime));
        if (sqlite3_step(statement) != SQLITE_DONE) reportFailure(path);
        sqlite3_clear_bindings(statement);
        sqlite3_reset(statement);
    }

    bool allWritten() const { return _allWritten; }

  private:
    void reportFailure(std::string_view path) {
        fprintf(stderr, "SQL Insert Step failed: %s, path: %s\n", sqlite3_errmsg(_database), path.data());
        _allWritten = false;
        _lost = _inTransaction && sqlite3_get_autocommit(_database) != 0;
    }

    sqlite3* _database;
    bool _inTransaction;
    bool _allWritten = true;
    bool _lost = false; // SQLite rolled the transaction back
    Statement _statement;
};

// The table of items is made together with its rows: a save that is cut short leaves no empty table behind in
// a new database, which would load as an empty tree.
bool saveRows(sqlite3* database, const DSNode* root, const char* path) {
    bool stored = false;
    if (execute(database, "BEGIN TRANSACTION")) {
        execute(database, kCreateSnapshotTable); // where it fails the rows say so
        stored = _saveSnapshotDBWithSHA1("", root, path, 0, database);
        if (execute(database, "END TRANSACTION")) return stored;
    }
    fprintf(stderr, "SQL Transaction failed. Error %s\n", sqlite3_errmsg(database));
    if (sqlite3_get_autocommit(database) == 0) execute(database, "ROLLBACK");
    return false;
}

} // namespace

bool insertStatus(sqlite3* database, const char* sql, SaveStatus status) {
    sqlite3_stmt* prepared = nullptr;
    if (sqlite3_prepare_v2(database, sql, -1, &prepared, nullptr) != SQLITE_OK) return false;
    Statement statement(prepared);
    time_t now = time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    char date[80];
    if (strftime(date, sizeof date, "%Y-%m-%d %X", &local) == 0) date[0] = '\0';
    sqlite3_bind_int(prepared, 1, 1);
    sqlite3_bind_text(prepared, 2, date, -1, SQLITE_STATIC);
    sqlite3_bind_int(prepared, 3, static_cast<int>(status));
    bool written = sqlite3_step(prepared) == SQLITE_DONE;
    if (!written) fprintf(stderr, "SQL Status Insert failed. Error %s\n", sqlite3_errmsg(database));
    if (sqlite3_reset(prepared) != SQLITE_OK)
        fprintf(stderr, "SQL Status error %s\n", sqlite3_errmsg(database));
    return written;
}

bool _saveSnapshotDBWithSHA1(const char* prefix, const DSNode* node, const char* /*path*/, int /*useSHA1*/,
                             sqlite3* database) {
    RowWriter writer(database);
    StoredItems<RowWriter>(writer).visitBelow(prefix, node);
    return writer.allWritten();
}

bool saveDatabase(const DSNode* root, const char* path, Steps steps) {
    bool told = steps == Steps::told;
    if (root == nullptr || path == nullptr) return false;
    sqlite3* opened = nullptr;
    int result = sqlite3_open(databaseFile(path).c_str(), &opened);
    Database database(opened);
    if (result != SQLITE_OK) {
        fprintf(stderr, "Saveing Database, Can't open database: %s\n", sqlite3_errmsg(opened));
        return false;
    }
    execute(opened, kCreateStatusTable);
    bool started = insertStatus(opened, kReplaceStatus, SaveStatus::saving);
    if (told) fprintf(stderr, "SQL Status 2 Inserted.\n ----------- SQL Starting Save Path %s.db\n", path);
    bool stored = saveRows(opened, root, path);
    if (stored) {
        stored = insertStatus(opened, kReplaceStatus, SaveStatus::complete);
        if (told) fputs("SQL Status 1 Inserted.\n", stderr);
    } else {
        fputs("SQL Status Insert failed. Error rows of this save are missing\n", stderr);
    }
    if (told) fprintf(stderr, " xxxxxxxxxxx SQL Finished Save Path %s.db\n", path);
    return started && stored;
}

} // namespace snapshot

void DSNodeSaveSnapshotDBWithSHA1(const DSNode* root, const char* path, int /*useSHA1*/) noexcept {
    snapshot::saveDatabase(root, path);
}
