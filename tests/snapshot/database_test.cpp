#include "snapshot/DSDatabase.h"
#include "tests/snapshot/database_support.h"
#include "tests/snapshot/support.h"

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

class SnapshotDatabase : public InNewFolder {
  protected:
    static std::string load(const char* path = "s") {
        return outcomeOf([&] { return DSNodeLoadSnapshotDBWithSHA1(path); });
    }
    static std::string save(const DSNode* root) {
        return messagesOf([&] { DSNodeSaveSnapshotDBWithSHA1(root, "s", 0); });
    }
};

constexpr const char* kSaved = "SQL Status 2 Inserted.\n"
                               " ----------- SQL Starting Save Path s.db\n"
                               "SQL Status 1 Inserted.\n"
                               " xxxxxxxxxxx SQL Finished Save Path s.db\n";
const std::string kOpened = "Opened database successfully\n";
const std::string kNotRead = "none\n" + kOpened + "SQL error: ";

TEST_F(SnapshotDatabase, WritesTheseRows) {
    Tree tree = exampleTree();
    DSNodeCreateWithParent(tree.get(), "\xFF", -5, -1, (int64_t{1} << 53) + 1, DSNodeTypeOther);
    EXPECT_EQ(save(tree.get()), kSaved);
    EXPECT_EQ(
        query("SELECT sql FROM sqlite_schema WHERE type = 'table' ORDER BY name"),
        "CREATE TABLE SNAPSHOT(PATH TEXT PRIMARY KEY     NOT NULL,PATH_LENGTH            INT    NOT NULL,"
        "SIZE                   INT     NOT NULL,TYPE                   INT     NOT NULL,"
        "MODIFIED_TIME          NUMERIC,STARTED_TIME           NUMERIC )\n"
        "CREATE TABLE STATUS(Id INT PRIMARY KEY     NOT NULL,Date                     TEXT    NOT NULL,"
        "Status                   INT     NOT NULL)\n");
    EXPECT_EQ(query("SELECT *, typeof(PATH) || typeof(PATH_LENGTH) || typeof(SIZE) || typeof(TYPE) || "
                    "typeof(MODIFIED_TIME) || typeof(STARTED_TIME) FROM SNAPSHOT ORDER BY rowid"),
              "/a.txt|6|12|2|1600000000|1600000100|textintegerintegerintegerintegerinteger\n"
              "/d|2|96|1|1600000000|1600000000|textintegerintegerintegerintegerinteger\n"
              "/d/b|4|0|2|1600000200|1600000200|textintegerintegerintegerintegerinteger\n"
              "/\xFF|2|-5|255|-1|9007199254740992|textintegerintegerintegerintegerinteger\n");
    EXPECT_THAT(query("SELECT * FROM STATUS"),
                MatchesRegex("1\\|20[0-9][0-9]-[01][0-9]-[0-3][0-9] [0-2][0-9]:[0-5][0-9]:[0-6][0-9]\\|1\n"));

    EXPECT_EQ(load(), "/a.txt 12 2 1600000000 1600000100\n/d 96 1 1600000000 1600000000\n"
                      "/d/b 0 2 1600000200 1600000200\n/\xFF -5 255 -1 9007199254740992\n" +
                          kOpened);

    // Rows of paths that left the tree stay.
    DSNodeFindWithFullPath("/a.txt", tree.get())->size = 99;
    DSNodeDestroy(DSNodeFindWithFullPath("/d", tree.get()));
    EXPECT_EQ(save(tree.get()), kSaved);
    EXPECT_EQ(query("SELECT PATH, SIZE FROM SNAPSHOT ORDER BY PATH"), "/a.txt|99\n/d|96\n/d/b|0\n/\xFF|-5\n");
    EXPECT_EQ(query("SELECT count(*), min(Status) FROM STATUS"), "1|1\n");
}

TEST_F(SnapshotDatabase, AnyFileNameWorks) {
    Tree tree = exampleTree();
    for (const std::string& path : {std::string(200, 'n'), std::string("file:s?mode=memory&x=")}) {
        messagesOf([&] { EXPECT_TRUE(snapshot::saveDatabase(tree.get(), path.c_str())); });
        EXPECT_TRUE(std::filesystem::exists(path + ".db"));
        EXPECT_EQ(load(path.c_str()), dump(tree.get()) + kOpened);
    }
}

TEST_F(SnapshotDatabase, EveryOddTableHasItsOutcome) {
    const std::string made = snapshot::kCreateSnapshotTable;
    const std::string insert = made + "INSERT INTO SNAPSHOT VALUES";
    const struct {
        std::string sql, tree, messages;
    } cases[] = {
        {made, "", ""},
        {insert + "('/x/y',0,5,2,1,2),('/x',0,6,2,3,4)", "/x 6 1 3 4\n/x/y 5 2 1 2\n", ""},
        {insert + "('/a',0,'12abc','3x','16.9z','abc')", "/a 12 3 16 0\n", ""},
        {insert +
             "('/a',0,-5,257,16.9,1e20),('/b',0,'99999999999999999999x',-1,'-9999999999999999999x',' +7x')",
         "/a -5 1 16 1\n/b -1 255 -9223372036854775808 7\n", ""},
        {insert + "('/a',0,1,2,NULL,NULL)", "/a 1 2 0 0\n", ""},
        {insert + "(CAST(x'2F6100' AS TEXT),0,1,2,3,4),(CAST(x'2F620063' AS TEXT),0,1,2,3,4)", "/a 1 2 3 4\n",
         "SQL rows without a usable path: 1\n"},
        {insert + "('/',0,1,2,3,4),('/a/',0,1,2,3,4),('/a',0,5,3,6,7)", "/ 1 1 3 4\n/a 5 2 6 7\n", ""},
        {insert + "('a',0,1,2,3,4),('',0,1,2,3,4),(5,0,1,2,3,4),('/a' || char(0) || 'b',0,1,2,3,4),"
                  "('/k',0,1,2,3,4),(CAST('/blob' AS BLOB),0,1,2,3,4)",
         "/k 1 2 3 4\n/blob 1 2 3 4\n", "SQL rows without a usable path: 4\n"},
        {"CREATE TABLE SNAPSHOT(started_time, x, Path, Size); INSERT INTO SNAPSHOT "
         "VALUES(7,0,'/a',5),(8,0,NULL,5)",
         "/a 5 0 0 7\n", "SQL rows without a usable path: 1\n"},
        {insert + "('/' || printf('%.1023c', 'x'),0,1,2,3,4),('/z',0,1,2,3,4)", "/z 1 2 3 4\n",
         "Path is longer than 1023 bytes and is refused: /" + std::string(59, 'x') +
             "...\nSQL rows without a usable path: 1\n"},
        {"CREATE TABLE SNAPSHOT(SIZE); INSERT INTO SNAPSHOT VALUES(1)", "",
         "SQL rows without a usable path: 1\n"},
        {"PRAGMA encoding = 'UTF-16'; " + insert + "('/é',0,1,2,3,4)", "/é 1 2 3 4\n", ""},
        {"CREATE TABLE SNAPSHOT(PATH, SIZE AS (length(zeroblob(PATH)))); INSERT INTO SNAPSHOT(PATH) "
         "VALUES(999999999)",
         "none\n", "SQL error: string or blob too big\nSQL Status 0 Inserted.\n"},
        {"CREATE VIEW SNAPSHOT AS WITH RECURSIVE n(i) AS (VALUES(0) UNION ALL SELECT i + 1 FROM n) "
         "SELECT '/' || i AS PATH FROM n",
         "none\n", "SQL error: SNAPSHOT is not a table\nSQL Status 0 Inserted.\n"},
    };
    for (const auto& [sql, tree, messages] : cases) {
        std::filesystem::remove("s.db");
        query(sql);
        EXPECT_EQ(load(), tree + kOpened + messages) << sql;
    }
}

TEST_F(SnapshotDatabase, UnreadableDatabasesGiveNoTree) {
    EXPECT_EQ(load(), "none\n");

    store("s.db", "");
    EXPECT_EQ(load(), kNotRead + "no such table: SNAPSHOT\nSQL Status 0 Inserted.\n");
    EXPECT_EQ(query("SELECT Id, Status FROM STATUS"), "1|0\n");
    query("UPDATE STATUS SET Status = 2");
    EXPECT_EQ(load(), kNotRead + "no such table: SNAPSHOT\n"
                                 "SQL Status Insert failed. Error UNIQUE constraint failed: STATUS.Id\n"
                                 "SQL Status error UNIQUE constraint failed: STATUS.Id\n"
                                 "SQL Status 0 Inserted.\n");
    EXPECT_EQ(query("SELECT Id, Status FROM STATUS"), "1|2\n");

    save(exampleTree().get());
    {
        snapshot::Database other = openDatabase();
        sqlite3_exec(other.get(), "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr);
        EXPECT_EQ(load(), kNotRead + "database is locked\n");
    }
    // A leaf page of the rows is overwritten: what was read before it does not count.
    Tree many = makeRoot();
    for (int i = 0; i < 1000; i++)
        DSNodeCreateWithParent(many.get(), std::to_string(i).c_str(), i, 0, 0, DSNodeTypeFile);
    save(many.get());
    std::string bytes = support::contentOf("s.db");
    constexpr size_t page = 4096;
    constexpr char leafOfTable = 13;
    size_t last = bytes.size() - page;
    while (last > 0 &&
           (bytes[last] != leafOfTable || bytes.substr(last, page).find("/999") == std::string::npos))
        last -= page;
    ASSERT_NE(last, 0U);
    bytes.replace(last, page, page, '\xAA');
    store("s.db", bytes);
    EXPECT_THAT(load(), StartsWith(kNotRead + "database disk image is malformed\n"));

    store("s.db", std::string(5000, 'x'));
    EXPECT_EQ(load(), kNotRead + "file is not a database\n");
    std::filesystem::remove("s.db");
    std::filesystem::create_directory("s.db");
    EXPECT_EQ(load(), "none\nReading Database, Can't open database: unable to open database file\n");
}

TEST_F(SnapshotDatabase, ASaveThatFailsNeverClaimsToBeComplete) {
    Tree tree = exampleTree();
    std::filesystem::create_directory("s.db");
    EXPECT_EQ(save(tree.get()), "Saveing Database, Can't open database: unable to open database file\n");
    std::filesystem::remove("s.db");
    EXPECT_FALSE(snapshot::saveDatabase(nullptr, "s") || snapshot::saveDatabase(tree.get(), nullptr));

    query("CREATE TABLE SNAPSHOT(PATH)");
    EXPECT_EQ(save(tree.get()),
              "SQL Status 2 Inserted.\n ----------- SQL Starting Save Path s.db\n"
              "SQL Snapshot table prepare error: table SNAPSHOT has no column named PATH_LENGTH\n"
              "SQL Insert Step failed: table SNAPSHOT has no column named PATH_LENGTH, path: /a.txt\n"
              "SQL Insert Step failed: table SNAPSHOT has no column named PATH_LENGTH, path: /d\n"
              "SQL Snapshot table prepare error: table SNAPSHOT has no column named PATH_LENGTH\n"
              "SQL Insert Step failed: table SNAPSHOT has no column named PATH_LENGTH, path: /d/b\n"
              "SQL Status Insert failed. Error rows of this save are missing\n"
              " xxxxxxxxxxx SQL Finished Save Path s.db\n");
    EXPECT_EQ(query("SELECT Status FROM STATUS"), "2\n");

    std::filesystem::remove("s.db");
    query(snapshot::kCreateSnapshotTable +
          std::string("CREATE TRIGGER t BEFORE INSERT ON SNAPSHOT WHEN "
                      "new.PATH = '/d' BEGIN SELECT raise(ABORT, 'no'); END"));
    EXPECT_THAT(save(tree.get()), HasSubstr("SQL Insert Step failed: no, path: /d\n"));
    EXPECT_EQ(query("SELECT PATH FROM SNAPSHOT"), "/a.txt\n/d/b\n");
    EXPECT_EQ(query("SELECT Status FROM STATUS"), "2\n");
    // A transaction that SQLite undid on the way is not continued row by row.
    query("DELETE FROM SNAPSHOT; DROP TRIGGER t; CREATE TRIGGER t BEFORE INSERT ON SNAPSHOT WHEN "
          "new.PATH = '/d' BEGIN SELECT raise(ROLLBACK, 'no'); END");
    EXPECT_THAT(save(tree.get()),
                HasSubstr("SQL Transaction failed. Error cannot commit - no transaction is active\n"));
    EXPECT_EQ(query("SELECT count(*) FROM SNAPSHOT"), "0\n");

    query("DROP TRIGGER t");
    {
        snapshot::Database reader = openDatabase();
        sqlite3_exec(reader.get(), "BEGIN; SELECT * FROM STATUS", nullptr, nullptr, nullptr);
        EXPECT_THAT(save(tree.get()), HasSubstr("SQL Transaction failed. Error database is locked\n"));
    }
    EXPECT_EQ(query("SELECT count(*) FROM SNAPSHOT"), "0\n");
    EXPECT_EQ(query("SELECT Status FROM STATUS"), "2\n");
    EXPECT_EQ(save(tree.get()), kSaved);
}

} // namespace
