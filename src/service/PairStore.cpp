#include "service/PairStore.h"

#include "service/store_parts.h"

namespace service {

using namespace store;

namespace {

constexpr const char* itemColumns =
    "shape, digest, here_size, here_modified, here_changed, here_inode, here_born, "
    "there_size, there_modified, there_id, here_name, there_name, there_digest";

void bindItem(Statement& statement, const AgreedItem& item) {
    statement.bind(static_cast<std::int64_t>(item.shape))
        .bind(std::string_view(reinterpret_cast<const char*>(item.digest.data()), item.digest.size()))
        .bind(static_cast<std::int64_t>(item.here.size))
        .bind(item.here.modified)
        .bind(item.here.changed)
        .bind(static_cast<std::int64_t>(item.here.inode))
        .bind(item.here.born)
        .bind(static_cast<std::int64_t>(item.there.size))
        .bind(item.there.modified)
        .bind(item.there.id)
        .bind(item.hereName)
        .bind(item.thereName)
        .bind(item.there.digest);
}

Digest digestIn(Statement& row) {
    const std::string bytes = row.bytes();
    Digest digest{};
    std::copy_n(bytes.begin(), std::min(bytes.size(), digest.size()), digest.begin());
    return digest;
}

AgreedItem readItem(Statement& row) {
    AgreedItem item;
    item.shape = row.number() == static_cast<std::int64_t>(Shape::folder) ? Shape::folder : Shape::file;
    item.digest = digestIn(row);
    item.here.size = static_cast<std::uint64_t>(row.number());
    item.here.modified = row.number();
    item.here.changed = row.number();
    item.here.inode = static_cast<std::uint64_t>(row.number());
    item.here.born = row.number();
    item.there.size = static_cast<std::uint64_t>(row.number());
    item.there.modified = row.number();
    item.there.id = row.bytes();
    item.hereName = row.bytes();
    item.thereName = row.bytes();
    item.there.digest = row.bytes();
    return item;
}

std::string_view algorithmOf(std::string_view digest) { return digest.substr(0, digest.find(':')); }

} // namespace

bool operator==(const RemoteRecord& one, const RemoteRecord& other) {
    return one.size == other.size && one.modified == other.modified && one.id == other.id &&
           (one.digest == other.digest || algorithmOf(one.digest) != algorithmOf(other.digest));
}

void PairStore::Closer::operator()(sqlite3* open) const { ::sqlite3_close(open); }

PairStore::PairStore(const std::filesystem::path& file) {
    sqlite3* opened = nullptr;
    const int result = ::sqlite3_open(file.c_str(), &opened);
    database.reset(opened);
    if (result != SQLITE_OK) fail(opened);
    ::sqlite3_busy_timeout(opened, 5000);
    run("PRAGMA journal_mode = WAL");
    run("PRAGMA synchronous = FULL"); // what was agreed on must not come before the file that it speaks of
    run("CREATE TABLE IF NOT EXISTS agreed (path BLOB PRIMARY KEY, shape INTEGER, digest BLOB, here_size "
        "INTEGER,"
        " here_modified INTEGER, here_changed INTEGER, here_inode INTEGER, here_born INTEGER, there_size "
        "INTEGER,"
        " there_modified INTEGER, there_id BLOB, here_name BLOB, there_name BLOB) WITHOUT ROWID");
    run("CREATE TABLE IF NOT EXISTS journal (number INTEGER PRIMARY KEY, step INTEGER, path BLOB, "
        "remote_path BLOB,"
        " private_path BLOB, trash_path BLOB, shape INTEGER, digest BLOB, here_size INTEGER, here_modified "
        "INTEGER,"
        " here_changed INTEGER, here_inode INTEGER, here_born INTEGER, there_size INTEGER, there_modified "
        "INTEGER,"
        " there_id BLOB, here_name BLOB, there_name BLOB)");
    run("CREATE TABLE IF NOT EXISTS journal_items (number INTEGER, path BLOB, remote_path BLOB, "
        "shape INTEGER, digest BLOB, here_size INTEGER, here_modified INTEGER, here_changed INTEGER, "
        "here_inode INTEGER, here_born INTEGER, there_size INTEGER, there_modified INTEGER, there_id BLOB, "
        "here_name BLOB, there_name BLOB, PRIMARY KEY (number, path)) WITHOUT ROWID");
    for (const char* const table : {"agreed", "journal", "journal_items"})
        addColumn(table, "there_digest");
    run("CREATE INDEX IF NOT EXISTS agreed_by_there_digest ON agreed (there_digest, there_size)"
        " WHERE there_digest <> x''");
    run("CREATE TABLE IF NOT EXISTS facts (name BLOB PRIMARY KEY, value BLOB) WITHOUT ROWID");
    run("CREATE TABLE IF NOT EXISTS losses (time INTEGER, side INTEGER, deleted INTEGER, replaced INTEGER)");
    run("CREATE TABLE IF NOT EXISTS uploads (path BLOB PRIMARY KEY, time INTEGER) WITHOUT ROWID");
    run("CREATE TABLE IF NOT EXISTS kept (place BLOB PRIMARY KEY, path BLOB, size INTEGER, modified INTEGER, "
        "inode INTEGER, time INTEGER) WITHOUT ROWID");
    run("CREATE TABLE IF NOT EXISTS confirmed (line BLOB PRIMARY KEY, time INTEGER) WITHOUT ROWID");
}

PairStore::~PairStore() = default;

void PairStore::run(const char* sql) const {
    if (::sqlite3_exec(database.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail(database.get());
}

// Where the database is one that was made before there was such a column.
void PairStore::addColumn(const std::string& table, const std::string& column) {
    Statement columns(database.get(),
                      "SELECT 1 FROM pragma_table_info(CAST(? AS TEXT)) WHERE name = CAST(? AS TEXT)");
    if (columns.bind(table).bind(column).step()) return;
    run(("ALTER TABLE " + table + " ADD COLUMN " + column + " BLOB").c_str());
}

struct PairStore::Items::Rows {
    Statement statement;
};

PairStore::Items::Items(const PairStore& store, const std::string& top)
    : rows(new Rows{{store.database.get(), (std::string("SELECT path, ") + itemColumns +
                                            " FROM agreed WHERE path >= ? AND path < ? ORDER BY path")
                                               .c_str()}}) {
    const std::string key = stored(top);
    rows->statement.bind(key).bind(top.empty() ? std::string("\xFF")
                                               : key + static_cast<char>(storedSeparator + 1));
}

PairStore::Items::~Items() = default;

bool PairStore::Items::next(std::string& path, AgreedItem& item) {
    if (!rows->statement.step()) return false;
    path = loaded(rows->statement.bytes());
    item = readItem(rows->statement);
    return true;
}

bool PairStore::hasBelow(const std::string& path) const {
    const std::string key = stored(path);
    Statement row(database.get(), "SELECT 1 FROM agreed WHERE path > ? AND path < ? LIMIT 1");
    row.bind(path.empty() ? key : key + storedSeparator)
        .bind(path.empty() ? std::string("\xFF") : key + static_cast<char>(storedSeparator + 1));
    return row.step();
}

std::uint64_t PairStore::countFiles() const {
    Statement row(database.get(), "SELECT count(*) FROM agreed WHERE shape = ?");
    row.bind(static_cast<std::int64_t>(Shape::file)).step();
    return static_cast<std::uint64_t>(row.number());
}

std::optional<AgreedItem> PairStore::at(const std::string& path) const {
    Statement row(database.get(),
                  (std::string("SELECT ") + itemColumns + " FROM agreed WHERE path = ?").c_str());
    row.bind(stored(path));
    if (!row.step()) return std::nullopt;
    return readItem(row);
}

std::optional<Digest> PairStore::contentOf(const RemoteRecord& record) const {
    if (record.digest.empty()) return std::nullopt;
    Statement row(database.get(), "SELECT digest FROM agreed WHERE there_digest = ? AND there_size = ?"
                                  " AND there_digest <> x'' LIMIT 1");
    row.bind(record.digest).bind(static_cast<std::int64_t>(record.size));
    return row.step() ? std::optional(digestIn(row)) : std::nullopt;
}

// What agreeing takes, prepared once for many items.
struct PairStore::Agreeing {
    explicit Agreeing(sqlite3* database)
        : forgetBelow(database, "DELETE FROM agreed WHERE path > ? AND path < ?"),
          insert(database,
                 "INSERT OR REPLACE INTO agreed VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)") {}

    void agree(const std::string& path, const AgreedItem& item) {
        const std::string key = stored(path);
        if (item.shape != Shape::folder) {
            forgetBelow.bind(key + storedSeparator).bind(key + static_cast<char>(storedSeparator + 1)).step();
            forgetBelow.reset();
        }
        insert.bind(key);
        bindItem(insert, item);
        insert.step();
        insert.reset();
    }

    Statement forgetBelow;
    Statement insert;
};

void PairStore::agree(const std::string& path, const AgreedItem& item) {
    Transaction change(database.get());
    Agreeing(database.get()).agree(path, item);
    change.commit();
}

void PairStore::agree(const std::vector<PathAndItem>& items) {
    if (items.empty()) return;
    Transaction change(database.get());
    Agreeing agreeing(database.get());
    for (const PathAndItem& item : items)
        agreeing.agree(item.path, item.item);
    change.commit();
}

void PairStore::forget(const std::string& path) {
    const std::string key = stored(path);
    Statement(database.get(), "DELETE FROM agreed WHERE path = ? OR (path > ? AND path < ?)")
        .bind(key)
        .bind(key + storedSeparator)
        .bind(key + static_cast<char>(storedSeparator + 1))
        .step();
}

void PairStore::rename(const std::string& path, const std::string& to) {
    const std::string key = stored(path);
    const std::string newKey = stored(to);
    Statement(database.get(), "UPDATE agreed SET path = CAST(? || substr(path, ?) AS BLOB) "
                              "WHERE path = ? OR (path > ? AND path < ?)")
        .bind(newKey)
        .bind(static_cast<std::int64_t>(key.size()) + 1)
        .bind(key)
        .bind(key + storedSeparator)
        .bind(key + static_cast<char>(storedSeparator + 1))
        .step();
}

std::int64_t PairStore::begin(const JournalEntry& entry) {
    Transaction change(database.get());
    Statement row(database.get(),
                  "INSERT INTO journal VALUES (NULL, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    row.bind(static_cast<std::int64_t>(entry.step))
        .bind(entry.path)
        .bind(entry.remotePath)
        .bind(entry.privatePath)
        .bind(entry.trashPath);
    bindItem(row, entry.item);
    row.step();
    const std::int64_t number = ::sqlite3_last_insert_rowid(database.get());
    Statement part(database.get(),
                   "INSERT INTO journal_items VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    for (const JournalEntry::Placed& placed : entry.many) {
        part.bind(number).bind(placed.path).bind(placed.remotePath);
        bindItem(part, placed.item);
        part.step();
        part.reset();
    }
    change.commit();
    return number;
}

void PairStore::finish(std::int64_t number, const std::string& path, const std::optional<AgreedItem>& item,
                       std::optional<std::int64_t> uploaded) {
    finish(number, item ? std::vector<PathAndItem>{{path, *item}} : std::vector<PathAndItem>{}, uploaded);
}

void PairStore::finish(std::int64_t number, const std::vector<PathAndItem>& items,
                       std::optional<std::int64_t> uploaded) {
    Transaction change(database.get());
    Agreeing agreeing(database.get());
    Statement upload(database.get(), "INSERT OR REPLACE INTO uploads VALUES (?, ?)");
    for (const PathAndItem& item : items) {
        agreeing.agree(item.path, item.item);
        if (!uploaded) continue;
        upload.bind(item.path).bind(*uploaded).step();
        upload.reset();
    }
    end(number);
    change.commit();
}

void PairStore::finishMove(std::int64_t number, const std::string& path, const JournalEntry::Placed& moved) {
    Transaction change(database.get());
    rename(path, moved.path);
    Agreeing(database.get()).agree(moved.path, moved.item);
    end(number);
    change.commit();
}

void PairStore::end(std::int64_t number) {
    Statement(database.get(), "DELETE FROM journal WHERE number = ?").bind(number).step();
    Statement(database.get(), "DELETE FROM journal_items WHERE number = ?").bind(number).step();
}

std::vector<JournalEntry> PairStore::unfinished() const {
    std::vector<JournalEntry> entries;
    Statement rows(database.get(),
                   (std::string("SELECT number, step, path, remote_path, private_path, trash_path, ") +
                    itemColumns + " FROM journal ORDER BY number")
                       .c_str());
    while (rows.step()) {
        JournalEntry entry;
        entry.number = rows.number();
        entry.step = static_cast<JournalEntry::Step>(rows.number());
        entry.path = rows.bytes();
        entry.remotePath = rows.bytes();
        entry.privatePath = rows.bytes();
        entry.trashPath = rows.bytes();
        entry.item = readItem(rows);
        Statement parts(database.get(), (std::string("SELECT path, remote_path, ") + itemColumns +
                                         " FROM journal_items WHERE number = ? ORDER BY path")
                                            .c_str());
        parts.bind(entry.number);
        while (parts.step()) {
            JournalEntry::Placed placed;
            placed.path = parts.bytes();
            placed.remotePath = parts.bytes();
            placed.item = readItem(parts);
            entry.many.push_back(std::move(placed));
        }
        entries.push_back(std::move(entry));
    }
    return entries;
}

std::optional<std::string> PairStore::fact(const std::string& name) const {
    Statement row(database.get(), "SELECT value FROM facts WHERE name = ?");
    row.bind(name);
    if (!row.step()) return std::nullopt;
    return row.bytes();
}

void PairStore::setFact(const std::string& name, const std::string& value) {
    Statement(database.get(), "INSERT OR REPLACE INTO facts VALUES (?, ?)").bind(name).bind(value).step();
}

} // namespace service
