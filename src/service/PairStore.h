// What both sides of a pair agreed on last, on the disk, and the changes that were begun and are not over.
//
// One SQLite database for each pair. A change is on the disk for certain when the call returns, and a kill at
// any moment leaves the state before or after it. Items are enumerated in the order of `pathBefore`.
//
// Errors of the database are std::runtime_error: without it nothing may be synced.
// Threads: one at a time.
#pragma once

#include "service/LocalSide.h"
#include "service/RemoteSpace.h"
#include "service/plan.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

struct sqlite3;

namespace service {

// What a storage tells about a file. Two equal ones stand for the same content, once it has rested.
struct RemoteRecord {
    std::uint64_t size = 0;
    std::int64_t modified = 0;
    std::string id;
    // Of the content, with its algorithm's name as in "md5:d41d8c…"; empty where the storage tells none. Some
    // answers come without: it tells two records apart only when both have one of the same algorithm.
    std::string digest;
    friend bool operator==(const RemoteRecord& one, const RemoteRecord& other);
};

struct AgreedItem {
    Shape shape = Shape::file;
    Digest digest{};      // a file's
    LocalRecord here;     // for a folder only what identifies it
    RemoteRecord there;   // the same
    std::string hereName; // the last component as it is written on either side
    std::string thereName;
    friend bool operator==(const AgreedItem&, const AgreedItem&) = default;
};

struct PathAndItem {
    std::string path;
    AgreedItem item;
};

// A change of something that is there, written down before it begins. What its fields say depends on the
// change; `path` is the key.
struct JournalEntry {
    // Numbers are on disks: they never change.
    enum class Step : int {
        replaceThere = 1,
        placeThere = 2,
        placeManyThere = 3,
        moveThere = 4,
        moveHere = 5
    };
    std::int64_t number = 0;
    Step step = Step::placeThere;
    std::string path;
    std::string remotePath;  // the item's place in the space
    std::string privatePath; // where the new version lies until then
    std::string trashPath;   // where the old one goes
    AgreedItem item;         // what is agreed on when it is done
    // Of many: the private path is a folder, and each item has its own place. Of a move: the private path is
    // the old place, on its side, and the one item has the new key and the new place.
    struct Placed {
        std::string path;
        std::string remotePath;
        AgreedItem item;
    };
    std::vector<Placed> many;
};

class PairStore {
  public:
    explicit PairStore(const std::filesystem::path& file);
    ~PairStore();
    PairStore(const PairStore&) = delete;
    PairStore& operator=(const PairStore&) = delete;

    // The items at and below a path, all of them with "", one after the other. Nothing is changed in the
    // store while one is in use.
    class Items {
      public:
        Items(const PairStore& store, const std::string& top);
        ~Items();
        // The next; false when there is none.
        bool next(std::string& path, AgreedItem& item);

      private:
        struct Rows;
        std::unique_ptr<Rows> rows;
    };
    std::optional<AgreedItem> at(const std::string& path) const;
    // The content of an agreed file of which the storage told that digest and size.
    std::optional<Digest> contentOf(const RemoteRecord& record) const;
    bool hasBelow(const std::string& path) const; // anything below, or at all with ""
    std::uint64_t countFiles() const;             // looks at each item

    // An item that is not a folder has nothing below it: that is forgotten.
    void agree(const std::string& path, const AgreedItem& item);
    void agree(const std::vector<PathAndItem>& items);           // all or none
    void forget(const std::string& path);                        // with all below it
    void rename(const std::string& path, const std::string& to); // with all below it; nothing is at `to`

    std::int64_t begin(const JournalEntry& entry);
    // The change is over: what is agreed now, if anything, in one step with the end of the entry. With a
    // time, in seconds since 1970, it is remembered as an upload of then.
    void finish(std::int64_t number, const std::string& path, const std::optional<AgreedItem>& item,
                std::optional<std::int64_t> uploaded = std::nullopt);
    void finish(std::int64_t number, const std::vector<PathAndItem>& items,
                std::optional<std::int64_t> uploaded = std::nullopt);
    // A move is over: what was agreed at `path` and below is so at its new key.
    void finishMove(std::int64_t number, const std::string& path, const JournalEntry::Placed& moved);
    std::vector<JournalEntry> unfinished() const;

    // What was deleted and replaced by older versions, in files, for LossGuard; and the lines that a person
    // has confirmed. Times are seconds since 1970; older ones go with `endBefore`.
    struct Losses {
        std::uint64_t deleted = 0;
        std::uint64_t replaced = 0;
    };
    void addLosses(std::int64_t time, Side side, const Losses& files);
    Losses losses(Side side) const;
    void confirm(std::int64_t time, const std::vector<std::string>& lines);
    std::set<std::string> confirmed() const;
    void takeBack(const std::vector<std::string>& lines);
    void endBefore(std::int64_t time);
    // Paths uploaded at that time or later; earlier ones are forgotten.
    std::set<std::string> uploadedSince(std::int64_t time);

    // What downloads replaced here, until it is certain that nobody wrote to it meanwhile.
    struct Kept {
        std::string place; // of the old version, in the pair
        std::string path;  // where it was
        LocalRecord record;
        std::int64_t time = 0; // since when, seconds since 1970
    };
    void keep(const Kept& file);
    std::vector<Kept> kept() const;
    void endKeeping(const std::string& place);

    // Small facts of the pair: the marks of both roots, the version of the rules.
    std::optional<std::string> fact(const std::string& name) const;
    void setFact(const std::string& name, const std::string& value);

  private:
    struct Agreeing;
    struct Closer {
        void operator()(sqlite3* database) const;
    };
    void run(const char* sql) const;
    void addColumn(const std::string& table, const std::string& column);
    void end(std::int64_t number);

    std::unique_ptr<sqlite3, Closer> database;
};

} // namespace service
