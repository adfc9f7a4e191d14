// Many new items at once: their files travel in one go by way of a private folder and take their names
// afterwards, new folders in one piece each. What is done for each of them singly in PairSync_operations.cpp
// is done here for all, step by step, so that a storage is asked a few times in all and the disk waits once.
#include "service/PairSync.h"
#include "service/names.h"
#include "service/pair_parts.h"
#include "service/travelling.h"

#include <algorithm>
#include <deque>
#include <set>

namespace service {
namespace {

constexpr std::size_t fewest = 8; // files that are worth the way round
constexpr std::size_t most = 10'000;
// What is lost when a batch breaks off has to come again: larger files go singly.
constexpr std::uint64_t largestFile = std::uint64_t{16} << 20U;
constexpr std::uint64_t largestBatch = std::uint64_t{256} << 20U;
constexpr std::size_t movesAtOnce = 4;
// Most names that somebody takes meanwhile are found by a list just before.
constexpr std::size_t movesAfterALook = 200;

// The names of tops of a batch that are still in its private folder: those took no place.
Outcome<std::set<std::string>> leftIn(RemoteSpace& space, const std::string& folder,
                                      const std::stop_token& stop) {
    std::set<std::string> names;
    const auto list = space.list(folder, false).wait(stop);
    if (!list && list.failure().trouble != Trouble::missing) return list.failure();
    if (list)
        for (const RemoteItem& item : *list)
            names.insert(item.name);
    return names;
}

} // namespace

// The bytes of an operation that can be one of a batch.
std::optional<std::uint64_t> PairSync::bytesInBatch(const Operation& operation, Side side) const {
    if (operation.side != side || operation.replaces || failedInBatch.contains(operation.path))
        return std::nullopt;
    if (operation.what == What::makeFolder && (features.moveFolder || side == Side::here)) return 0;
    const auto found = view.find(operation.path);
    if (operation.what != What::put || found == view.end()) return std::nullopt;
    const Held& held = found->second;
    std::optional<std::uint64_t> bytes;
    if (side == Side::there && held.here) bytes = held.here->record.size;
    if (side == Side::here && held.there && !held.here) bytes = held.there->item.size;
    return bytes && *bytes <= largestFile ? bytes : std::nullopt;
}

// How many operations from this one on make a batch; 0: none. A new folder comes down in one piece only when
// all that is in it is in the batch: one that is too large is made first, and its folders are looked at.
std::size_t PairSync::batchAt(const std::vector<Operation>& operations, std::size_t first) const {
    const Side side = operations[first].side;
    std::size_t files = 0;
    std::uint64_t bytes = 0;
    std::size_t top = first; // with all that is in it
    std::size_t filesBefore = 0;
    std::size_t index = first;
    for (; index < operations.size(); ++index) {
        if (!isAtOrBelow(operations[index].path, operations[top].path)) {
            top = index;
            filesBefore = files;
        }
        const auto size = bytesInBatch(operations[index], side);
        const bool isFull = files >= most || (size && bytes + *size > largestBatch);
        if (size && !isFull) {
            bytes += *size;
            if (operations[index].what == What::put) ++files;
            continue;
        }
        if (index != top && (side == Side::here || (isFull && filesBefore >= fewest))) {
            index = top;
            files = filesBefore;
        }
        break;
    }
    return files >= fewest ? index - first : 0;
}

std::vector<PairSync::Travelling> PairSync::batchOf(const std::vector<Operation>& operations,
                                                    std::size_t first, std::size_t count) const {
    std::vector<Travelling> batch;
    batch.reserve(count);
    std::map<std::string, std::string> folders; // private names of the batch's folders, by key
    for (std::size_t index = first; index < first + count; ++index) {
        const Operation& operation = operations[index];
        Travelling item{&operation, {}};
        const std::string name =
            lastOf(operation.side == Side::there ? pathThere(operation.path) : pathHere(operation.path));
        const auto above = folders.find(parentOf(operation.path));
        item.isTop = above == folders.end();
        item.privateName = item.isTop ? wordOf(operation.path) : joined(above->second, name);
        if (item.isFolder()) folders.emplace(operation.path, item.privateName);
        batch.push_back(std::move(item));
    }
    return batch;
}

Outcome<Done> PairSync::performMany(const std::vector<Operation>& operations, std::size_t first,
                                    std::size_t count, Round& result, const std::stop_token& stop) {
    std::vector<Travelling> batch = batchOf(operations, first, count);
    auto done = operations[first].side == Side::there ? manyThere(batch, stop) : manyHere(batch, stop);
    for (const Travelling& item : batch) {
        if (done && item.isGood) {
            ++result.done;
            rests.erase(item.key()); // no look may follow that would
            continue;
        }
        ++result.postponed;
        if (done) failedInBatch.insert(item.key()); // alone it tells why
    }
    return done;
}

Outcome<Done> PairSync::manyThere(std::vector<Travelling>& batch, const std::stop_token& stop) {
    std::vector<Upload> uploads;
    for (Travelling& item : batch) {
        const LocalItem& here = *view.at(item.key()).here;
        item.item.shape = here.shape;
        item.item.here = item.isFolder() ? folderRecord(here.record) : here.record;
        item.item.hereName = lastOf(here.path);
        item.item.thereName = lastOf(pathThere(item.key()));
        uploads.push_back(
            {item.isFolder() ? "" : (around.local.folder() / here.path).string(), item.privateName});
    }
    const std::string privatePath = newPrivatePath("up");
    auto goingUp = around.space.bringUpAll(uploads, privatePath);
    for (Travelling& item : batch) { // meanwhile
        if (item.isFolder()) continue;
        const LocalItem& here = *view.at(item.key()).here;
        const auto digest = around.local.digest(here.path, here.record);
        if (digest) item.item.digest = *digest;
        item.isGood = static_cast<bool>(digest);
    }
    const auto up = goingUp.wait(stop);
    const bool mayHaveArrived = // all but what has gone here meanwhile
        up || up.failure().trouble == Trouble::other || up.failure().trouble == Trouble::missing;
    const auto arrived = mayHaveArrived ? lookAtSpace(around.space, privatePath, {}, stop)
                                        : Outcome<std::vector<RemoteEntry>>(up.failure());
    if (!arrived) {
        (void)around.space.removeTree(privatePath).wait(stop);
        return arrived.failure();
    }
    checkArrived(batch, *arrived, privatePath, stop);
    auto placed = placeMany(batch, privatePath, stop);
    if (placed) (void)around.space.removeTree(privatePath).wait(stop);
    return placed;
}

// What arrived whole, and has not changed here meanwhile, is good; the rest does not go into place.
void PairSync::checkArrived(std::vector<Travelling>& batch, const std::vector<RemoteEntry>& arrived,
                            const std::string& privatePath, const std::stop_token& stop) {
    std::unordered_map<std::string, const RemoteEntry*> byName;
    for (const RemoteEntry& entry : arrived)
        byName.emplace(entry.path, &entry);
    for (Travelling& item : batch) {
        const auto found = byName.find(item.privateName);
        const LocalItem& then = *view.at(item.key()).here;
        const bool isThere = found != byName.end() && found->second->shape == item.item.shape;
        if (isThere) item.item.there = recordOf(found->second->item);
        if (item.isFolder()) {
            item.isGood = isThere;
            continue;
        }
        const auto now = around.local.lookAt(then.path);
        item.isGood = item.isGood && isThere && found->second->item.size == then.record.size && now &&
                      now->shape == Shape::file && now->record == then.record;
        if (!item.isGood && found != byName.end() && !item.isTop)
            (void)around.space.removeFile(joined(privatePath, item.privateName)).wait(stop);
    }
}

Outcome<Done> PairSync::placeMany(std::vector<Travelling>& batch, const std::string& privatePath,
                                  const std::stop_token& stop) {
    JournalEntry entry;
    entry.step = JournalEntry::Step::placeManyThere;
    entry.privatePath = privatePath;
    entry.item.shape = Shape::folder;
    std::vector<Travelling*> tops;
    for (Travelling& item : batch) {
        if (!item.isGood) continue;
        if (item.isTop) tops.push_back(&item);
        entry.many.push_back({item.key(), pathThere(item.key()), item.item});
    }
    const std::int64_t number = around.store.begin(entry);
    for (std::size_t first = 0; first < tops.size(); first += movesAfterALook) {
        const std::size_t end = std::min(first + movesAfterALook, tops.size());
        const std::vector<Travelling*> some(tops.begin() + static_cast<std::ptrdiff_t>(first),
                                            tops.begin() + static_cast<std::ptrdiff_t>(end));
        if (const auto placed = placeSome(some, privatePath, stop); !placed)
            return placed.failure(); // how far it came the journal tells, and a look at each place
    }
    const auto left = leftIn(around.space, privatePath, stop);
    if (!left) return left.failure();
    std::vector<PathAndItem> agreed;
    std::string skipped = "/"; // no key
    for (Travelling& item : batch) {
        if (item.isTop) skipped = left->contains(item.privateName) ? item.key() : "/";
        if (isAtOrBelow(item.key(), skipped)) item.isGood = false;
        if (item.isGood) agreed.push_back({item.key(), std::move(item.item)});
    }
    around.store.finish(number, agreed, around.time().time_since_epoch().count());
    return Done{};
}

// What has no free name stays where it is.
Outcome<Done> PairSync::placeSome(const std::vector<Travelling*>& tops, const std::string& privatePath,
                                  const std::stop_token& stop) {
    std::map<std::string, std::set<std::string>> taken; // names, by the folder in the space
    for (const Travelling* item : tops) {
        const std::string folder = parentOf(pathThere(item->key()));
        if (taken.contains(folder)) continue;
        const auto list = around.space.list(folder, false).wait(stop);
        if (!list) return list.failure();
        std::set<std::string>& names = taken[folder];
        for (const RemoteItem& other : *list)
            names.insert(faultOf(other.name) ? other.name : keyOf(other.name, features.foldsCase));
    }
    std::deque<Pending<Done>> underWay;
    std::optional<Failure> failed;
    const auto waitForOne = [&] {
        const auto moved = underWay.front().wait(stop);
        underWay.pop_front();
        if (!moved) failed = moved.failure();
    };
    for (const Travelling* item : tops) {
        const std::string to = pathThere(item->key());
        if (taken[parentOf(to)].contains(keyOf(lastOf(to), features.foldsCase))) continue;
        if (underWay.size() >= movesAtOnce) waitForOne();
        if (failed) break;
        const std::string from = joined(privatePath, item->privateName);
        underWay.push_back(item->isFolder() ? around.space.moveFolder(from, to)
                                            : around.space.moveFile(from, to));
    }
    while (!underWay.empty())
        waitForOne();
    if (failed) return *failed;
    return Done{};
}

// What a kill left of a batch: what lies in its place as it went there is agreed on, unless it, or the folder
// that it came in, is still in the private folder.
Outcome<Done> PairSync::recoverMany(const JournalEntry& entry, const std::stop_token& stop) {
    std::vector<PathAndItem> agreed;
    const auto left = leftIn(around.space, entry.privatePath, stop);
    if (!left) return left.failure();
    const auto isLeft = [&left](std::string path) {
        for (; !path.empty(); path = parentOf(path))
            if (left->contains(wordOf(path))) return true;
        return false;
    };
    ListedFolders folders(around.space, stop);
    for (const JournalEntry::Placed& placed : entry.many) {
        const auto items = folders.of(parentOf(placed.remotePath));
        if (!items) return items.failure();
        const auto found = (*items)->find(lastOf(placed.remotePath));
        if (found == (*items)->end() || isLeft(placed.path)) continue;
        const bool isFolder = found->second.kind == RemoteItem::Kind::folder;
        const RemoteRecord record = recordOf(found->second);
        if (isFolder != (placed.item.shape == Shape::folder) || record.size != placed.item.there.size ||
            record.modified != placed.item.there.modified)
            continue;
        agreed.push_back({placed.path, placed.item});
    }
    around.store.finish(entry.number, agreed, around.time().time_since_epoch().count());
    (void)around.space.removeTree(entry.privatePath).wait(stop);
    return Done{};
}

} // namespace service
