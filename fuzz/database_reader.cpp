// The reader of databases. Input: a database's file; or, when it does not begin as one, values for the rows
// of a table without types, five for each row: a letter (n null, i integer, r real, t text, b blob), the text
// of the value, a line break.
#include "fuzz/require.h"
#include "snapshot/stores/database.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace {

constexpr int kColumns = 5;

void openAsFile(sqlite3* database, std::string_view input) {
    auto size = static_cast<sqlite3_int64>(input.size());
    auto* copy = static_cast<unsigned char*>(sqlite3_malloc64(input.size() + 1));
    memcpy(copy, input.data(), input.size());
    sqlite3_deserialize(database, "main", copy, size, size,
                        SQLITE_DESERIALIZE_FREEONCLOSE | SQLITE_DESERIALIZE_RESIZEABLE);
}

void bind(sqlite3_stmt* statement, int column, std::string_view value) {
    char kind = value.empty() ? 'n' : value[0];
    std::string text(value.substr(std::min<size_t>(1, value.size())));
    switch (kind) {
    case 'i':
        sqlite3_bind_int64(statement, column, strtoll(text.c_str(), nullptr, 10));
        break;
    case 'r':
        sqlite3_bind_double(statement, column, strtod(text.c_str(), nullptr));
        break;
    case 't':
        sqlite3_bind_text64(statement, column, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
        break;
    case 'b':
        sqlite3_bind_blob64(statement, column, text.data(), text.size(), SQLITE_TRANSIENT);
        break;
    default:
        sqlite3_bind_null(statement, column);
    }
}

void insertRows(sqlite3* database, std::string_view input) {
    sqlite3_exec(database, "CREATE TABLE SNAPSHOT(PATH, SIZE, TYPE, MODIFIED_TIME, STARTED_TIME)", nullptr,
                 nullptr, nullptr);
    sqlite3_stmt* prepared = nullptr;
    sqlite3_prepare_v2(database, "INSERT INTO SNAPSHOT VALUES(?,?,?,?,?)", -1, &prepared, nullptr);
    snapshot::Statement statement(prepared);
    while (!input.empty()) {
        for (int column = 1; column <= kColumns; column++) {
            size_t end = std::min(input.find('\n'), input.size());
            bind(prepared, column, input.substr(0, end));
            input.remove_prefix(std::min(end + 1, input.size()));
        }
        sqlite3_step(prepared);
        sqlite3_reset(prepared);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view input(reinterpret_cast<const char*>(data), size);
    sqlite3* opened = nullptr;
    require(sqlite3_open(":memory:", &opened) == SQLITE_OK);
    snapshot::Database database(opened);
    bool isFile = input.starts_with("SQLite format 3");
    if (isFile)
        openAsFile(opened, input);
    else
        insertRows(opened, input);
    bool complete = false;
    DSNode* root = snapshot::loadDatabase(opened, complete);
    require(isFile || root != nullptr);
    require(root != nullptr || !complete);
    DSNodeDestroy(root);
    return 0;
}
