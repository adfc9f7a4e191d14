#include "service/PairStore.h"
#include "service/store_parts.h"

namespace service {

using namespace store;

void PairStore::addLosses(std::int64_t time, Side side, const Losses& files) {
    Statement(database.get(), "INSERT INTO losses VALUES (?, ?, ?, ?)")
        .bind(time)
        .bind(static_cast<std::int64_t>(side))
        .bind(static_cast<std::int64_t>(files.deleted))
        .bind(static_cast<std::int64_t>(files.replaced))
        .step();
}

PairStore::Losses PairStore::losses(Side side) const {
    Statement row(database.get(), "SELECT sum(deleted), sum(replaced) FROM losses WHERE side = ?");
    row.bind(static_cast<std::int64_t>(side)).step();
    Losses sum;
    sum.deleted = static_cast<std::uint64_t>(row.number());
    sum.replaced = static_cast<std::uint64_t>(row.number());
    return sum;
}

void PairStore::confirm(std::int64_t time, const std::vector<std::string>& lines) {
    Transaction change(database.get());
    for (const std::string& line : lines)
        Statement(database.get(), "INSERT OR REPLACE INTO confirmed VALUES (?, ?)")
            .bind(line)
            .bind(time)
            .step();
    change.commit();
}

std::set<std::string> PairStore::confirmed() const {
    std::set<std::string> lines;
    Statement rows(database.get(), "SELECT line FROM confirmed");
    while (rows.step())
        lines.insert(rows.bytes());
    return lines;
}

void PairStore::takeBack(const std::vector<std::string>& lines) {
    Transaction change(database.get());
    for (const std::string& line : lines)
        Statement(database.get(), "DELETE FROM confirmed WHERE line = ?").bind(line).step();
    change.commit();
}

void PairStore::endBefore(std::int64_t time) {
    for (const char* sql : {"DELETE FROM losses WHERE time < ?", "DELETE FROM confirmed WHERE time < ?"})
        Statement(database.get(), sql).bind(time).step();
}

std::set<std::string> PairStore::uploadedSince(std::int64_t time) {
    Statement(database.get(), "DELETE FROM uploads WHERE time < ?").bind(time).step();
    std::set<std::string> paths;
    Statement rows(database.get(), "SELECT path FROM uploads");
    while (rows.step())
        paths.insert(rows.bytes());
    return paths;
}

void PairStore::keep(const Kept& file) {
    Statement(database.get(), "INSERT OR REPLACE INTO kept VALUES (?, ?, ?, ?, ?, ?)")
        .bind(file.place)
        .bind(file.path)
        .bind(static_cast<std::int64_t>(file.record.size))
        .bind(file.record.modified)
        .bind(static_cast<std::int64_t>(file.record.inode))
        .bind(file.time)
        .step();
}

std::vector<PairStore::Kept> PairStore::kept() const {
    std::vector<Kept> files;
    Statement rows(database.get(), "SELECT place, path, size, modified, inode, time FROM kept");
    while (rows.step()) {
        Kept file;
        file.place = rows.bytes();
        file.path = rows.bytes();
        file.record.size = static_cast<std::uint64_t>(rows.number());
        file.record.modified = rows.number();
        file.record.inode = static_cast<std::uint64_t>(rows.number());
        file.time = rows.number();
        files.push_back(std::move(file));
    }
    return files;
}

void PairStore::endKeeping(const std::string& place) {
    Statement(database.get(), "DELETE FROM kept WHERE place = ?").bind(place).step();
}

} // namespace service
