// SQLite as the sources of PairStore use it. Private to them.
#pragma once

#include <sqlite3.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace service::store {

// Keys hold no control characters, so the lowest of them in place of the separator makes the order of the
// bytes the order of the components.
constexpr char storedSeparator = '\x01';

inline std::string stored(std::string path) {
    std::replace(path.begin(), path.end(), '/', storedSeparator);
    return path;
}
inline std::string loaded(std::string path) {
    std::replace(path.begin(), path.end(), storedSeparator, '/');
    return path;
}

[[noreturn]] inline void fail(sqlite3* database) { throw std::runtime_error(::sqlite3_errmsg(database)); }

// A prepared statement with its values; positions count from 1, columns from 0.
class Statement {
  public:
    Statement(sqlite3* owner, const char* sql) : database(owner) {
        if (::sqlite3_prepare_v2(database, sql, -1, &statement, nullptr) != SQLITE_OK) fail(database);
    }
    ~Statement() { ::sqlite3_finalize(statement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    Statement& bind(std::string_view bytes) {
        ::sqlite3_bind_blob64(statement, ++position, bytes.data(), bytes.size(), SQLITE_TRANSIENT);
        return *this;
    }
    Statement& bind(std::int64_t number) {
        ::sqlite3_bind_int64(statement, ++position, number);
        return *this;
    }
    // For the next values.
    void reset() {
        ::sqlite3_reset(statement);
        position = 0;
    }
    bool step() {
        const int result = ::sqlite3_step(statement);
        column = -1;
        if (result != SQLITE_ROW && result != SQLITE_DONE) fail(database);
        return result == SQLITE_ROW;
    }
    std::string bytes() {
        const auto* const data = static_cast<const char*>(::sqlite3_column_blob(statement, ++column));
        const auto size = static_cast<std::size_t>(::sqlite3_column_bytes(statement, column));
        return data ? std::string(data, size) : std::string();
    }
    std::int64_t number() { return ::sqlite3_column_int64(statement, ++column); }

  private:
    sqlite3* database;
    sqlite3_stmt* statement = nullptr;
    int position = 0;
    int column = -1;
};

// Undone when it goes without having been committed.
class Transaction {
  public:
    explicit Transaction(sqlite3* owner) : database(owner) { run("BEGIN IMMEDIATE"); }
    ~Transaction() {
        if (open) ::sqlite3_exec(database, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    void commit() {
        run("COMMIT");
        open = false;
    }

  private:
    void run(const char* sql) {
        if (::sqlite3_exec(database, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail(database);
    }
    sqlite3* database;
    bool open = true;
};

} // namespace service::store
