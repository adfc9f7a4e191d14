#include "snapshot/DSDatabase.h"
#include "snapshot/stores/Decimal.h"
#include "snapshot/stores/database.h"
#include "snapshot/tree/TreeBuilder.h"

#include <sys/stat.h>

#include <cstdio>
#include <string_view>

namespace snapshot {

namespace {

constexpr const char* kSelectItems = "SELECT * from SNAPSHOT";
constexpr const char* kInsertStatus = "INSERT INTO STATUS (Id, Date, Status)VALUES(:Id,:Date,:Status);";

// Where a column stands in the rows, or -1. Names compare as SQL compares them, in either case.
int positionOf(sqlite3_stmt* statement, const char* name) {
    for (int i = 0; i < sqlite3_column_count(statement); i++) {
        const char* column = sqlite3_column_name(statement, i);
        if (column != nullptr && sqlite3_stricmp(column, name) == 0) return i;
    }
    return -1;
}

// The columns that are read; PATH_LENGTH follows from PATH.
struct Columns {
    explicit Columns(sqlite3_stmt* statement)
        : path(positionOf(statement, "PATH")), size(positionOf(statement, "SIZE")),
          type(positionOf(statement, "TYPE")), modified(positionOf(statement, "MODIFIED_TIME")),
          started(positionOf(statement, "STARTED_TIME")) {}

    int path, size, type, modified, started;
};

// A column's text; empty where there is no such column or no value. Valid until the column is read otherwise.
std::string_view textOf(sqlite3_stmt* row, int column) {
    if (column < 0) return {};
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
    if (text == nullptr) return {};
    return {text, static_cast<size_t>(sqlite3_column_bytes(row, column))};
}

// A number is read from the text of its value, so that 1e20 (whose text is 1.0e+20) is 1. An integer needs no
// text for that.
int64_t signedOf(sqlite3_stmt* row, int column) {
    if (column < 0) return 0;
    if (sqlite3_column_type(row, column) == SQLITE_INTEGER) return sqlite3_column_int64(row, column);
    return decimalOf(textOf(row, column)).asSigned();
}

uint64_t unsignedOf(sqlite3_stmt* row, int column) {
    if (column < 0) return 0;
    if (sqlite3_column_type(row, column) == SQLITE_INTEGER)
        return static_cast<uint64_t>(sqlite3_column_int64(row, column));
    return decimalOf(textOf(row, column)).asUnsigned();
}

// Places the rows in the tree. A row without a usable path is left out; one line at the end says how many.
class RowReader {
  public:
    explicit RowReader(DSNode* root) : _items(root) {}

    void place(sqlite3_stmt* row, const Columns& columns) {
        auto type = static_cast<uint8_t>(unsignedOf(row, columns.type));
        DSNode* node = _items.findOrCreate(pathOf(row, columns), type);
        if (node == nullptr) {
            _leftOut++;
            return;
        }
        node->size = static_cast<int64_t>(unsignedOf(row, columns.size));
        node->modifiedTime = signedOf(row, columns.modified);
        node->startedTime = signedOf(row, columns.started);
    }

    // Whether every row found its place.
    bool finish() const {
        if (_leftOut == 0) return true;
        fprintf(stderr, "SQL rows without a usable path: %llu\n", static_cast<unsigned long long>(_leftOut));
        return false;
    }

  private:
    // A writer may have bound the text with its terminator.
    static std::string_view pathOf(sqlite3_stmt* row, const Columns& columns) {
        const std::string_view text = textOf(row, columns.path);
        return text.substr(0, text.find_last_not_of('\0') + 1);
    }

    TreeBuilder _items;
    uint64_t _leftOut = 0;
};

// A view in the table's place is refused: it could compute without end.
bool isTable(sqlite3* database) {
    return sqlite3_table_column_metadata(database, "main", "SNAPSHOT", nullptr, nullptr, nullptr, nullptr,
                                         nullptr, nullptr) == SQLITE_OK;
}

// Whether all rows were read.
bool readRows(sqlite3* database, DSNode* root, bool& complete) {
    sqlite3_stmt* prepared = nullptr;
    int result = sqlite3_prepare_v2(database, kSelectItems, -1, &prepared, nullptr);
    Statement statement(prepared);
    if (result == SQLITE_OK && !isTable(database)) {
        fputs("SQL error: SNAPSHOT is not a table\n", stderr);
        return false;
    }
    if (result == SQLITE_OK) {
        RowReader reader(root);
        result = sqlite3_step(prepared);
        const Columns columns(prepared); // known for certain once the statement runs
        for (; result == SQLITE_ROW; result = sqlite3_step(prepared))
            reader.place(prepared, columns);
        complete = reader.finish();
    }
    if (result == SQLITE_DONE) return true;
    fprintf(stderr, "SQL error: %s\n", sqlite3_errmsg(database));
    return false;
}

} // namespace

DSNode* loadDatabase(sqlite3* database, bool& complete) {
    // A generated column could make a small file give values as large as memory.
    constexpr int largestValue = 16 << 20;
    sqlite3_limit(database, SQLITE_LIMIT_LENGTH, largestValue);
    DSNode* root = DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory);
    if (readRows(database, root, complete)) return root;
    DSNodeDestroy(root);
    complete = false;
    if (sqlite3_exec(database, kCreateStatusTable, nullptr, nullptr, nullptr) == SQLITE_OK) {
        insertStatus(database, kInsertStatus, SaveStatus::unreadable);
        fputs("SQL Status 0 Inserted.\n", stderr);
    }
    return nullptr;
}

DSNode* loadDatabase(const char* path, bool& complete, Steps steps) {
    complete = false;
    if (path == nullptr) return nullptr;
    std::string file = databaseFile(path);
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) return nullptr;
    sqlite3* opened = nullptr;
    // One thread uses the connection: without its lock, which is taken for each value, a load takes a fifth
    // less.
    int result = sqlite3_open_v2(file.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    Database database(opened);
    if (result != SQLITE_OK) {
        fprintf(stderr, "Reading Database, Can't open database: %s\n", sqlite3_errmsg(opened));
        return nullptr;
    }
    if (steps == Steps::told) fputs("Opened database successfully\n", stderr);
    return loadDatabase(opened, complete);
}

} // namespace snapshot

DSNode* DSNodeLoadSnapshotDBWithSHA1(const char* path) noexcept {
    bool complete = false;
    return snapshot::loadDatabase(path, complete);
}
