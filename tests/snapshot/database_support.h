// A look into the database of a snapshot.
#pragma once

#include "snapshot/stores/database.h"

#include <gtest/gtest.h>

#include <string>

inline snapshot::Database openDatabase(const char* file = "s.db") {
    sqlite3* database = nullptr;
    EXPECT_EQ(sqlite3_open(file, &database), SQLITE_OK);
    return snapshot::Database(database);
}

// The rows of a statement, columns joined by "|", each row ended by a line break.
inline std::string query(const std::string& sql, const char* file = "s.db") {
    std::string rows;
    snapshot::Database database = openDatabase(file);
    auto append = [](void* text, int count, char** values, char** /*names*/) {
        for (int i = 0; i < count; i++)
            static_cast<std::string*>(text)
                ->append(values[i] ? values[i] : "NULL")
                .append(i + 1 < count ? "|" : "\n");
        return 0;
    };
    char* error = nullptr;
    sqlite3_exec(database.get(), sql.c_str(), append, &rows, &error);
    EXPECT_EQ(error, nullptr) << error << ": " << sql;
    sqlite3_free(error);
    return rows;
}
