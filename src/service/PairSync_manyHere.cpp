// Many new items that come down at once: new folders whole, files into folders that are there by several at a
// time, both by way of the pair's private folder. The disk is waited for once before anything takes its name,
// and once before that is agreed on.
#include "service/PairSync.h"
#include "service/names.h"
#include "service/pair_parts.h"
#include "service/travelling.h"

#include <algorithm>
#include <deque>
#include <future>
#include <set>
#include <unordered_set>

namespace service {
namespace {

constexpr std::size_t transfersAtOnce = 4;
constexpr std::size_t foldersAtOnce = 100; // each is a pattern that every name beside is held against

} // namespace

Outcome<Done> PairSync::manyHere(std::vector<Travelling>& batch, const std::stop_token& stop) {
    for (Travelling& item : batch) {
        const RemoteEntry& there = *view.at(item.key()).there;
        item.item.shape = there.shape;
        item.item.there = recordOf(there.item);
        item.item.hereName = lastOf(pathHere(item.key()));
        item.item.thereName = lastOf(there.path);
    }
    const std::string hidden =
        std::string(privatePrefix) + "/in-" + privateWord + "-" + std::to_string(++lastPrivate);
    if (const auto made = around.local.makePrivateFolder(hidden); !made) return made.failure();
    auto done = bringManyDown(batch, hidden, stop);
    if (done) done = placeManyHere(batch, stop);
    std::error_code ignored;
    std::filesystem::remove_all(around.local.folder() / hidden, ignored);
    return done;
}

Outcome<Done> PairSync::bringManyDown(std::vector<Travelling>& batch, const std::string& hidden,
                                      const std::stop_token& stop) {
    std::map<std::string, std::vector<std::size_t>> whole; // new folders, by the one above
    std::vector<Travelling*> files;
    for (std::size_t index = 0; index < batch.size();) {
        std::size_t end = index + 1;
        while (end < batch.size() && !batch[end].isTop)
            ++end;
        if (batch[index].isFolder() && isWhole(batch, index, end)) {
            whole[parentOf(pathThere(batch[index].key()))].push_back(index);
        } else {
            for (; index < end; ++index)
                if (const auto ready = prepareSingle(batch[index], hidden, files, stop); !ready)
                    return ready.failure();
        }
        index = end;
    }
    for (const auto& [above, tops] : whole)
        for (std::size_t first = 0; first < tops.size(); first += foldersAtOnce) {
            const std::size_t last = std::min(first + foldersAtOnce, tops.size());
            const std::string place = joined(hidden, "whole" + std::to_string(tops[first]));
            std::vector<std::string> names;
            for (std::size_t index = first; index < last; ++index)
                names.push_back(batch[tops[index]].item.thereName);
            const auto down =
                around.space.bringDownAll(above, names, (around.local.folder() / place).string()).wait(stop);
            if (!down && endsAll(down.failure())) return down.failure();
            for (std::size_t index = first; index < last; ++index)
                setPlaces(batch, tops[index], place);
        }
    return bringFilesDown(files, stop);
}

// Whether all that the last look found in a new folder is in the batch.
bool PairSync::isWhole(const std::vector<Travelling>& batch, std::size_t first, std::size_t end) const {
    std::size_t known = 0;
    const std::string& top = batch[first].key();
    for (auto at = view.find(top); at != view.end() && isAtOrBelow(at->first, top); ++at)
        if (at->second.there) ++known;
    return known == end - first;
}

// Where the items of a folder that came whole lie now.
void PairSync::setPlaces(std::vector<Travelling>& batch, std::size_t top, const std::string& place) const {
    const std::size_t length = parentOf(pathThere(batch[top].key())).size() + 1;
    for (std::size_t index = top; index == top || (index < batch.size() && !batch[index].isTop); ++index)
        batch[index].privateName = joined(place, pathThere(batch[index].key()).substr(length));
}

// A folder of which not all comes is made at once, and what is in it comes file by file.
Outcome<Done> PairSync::prepareSingle(Travelling& item, const std::string& hidden,
                                      std::vector<Travelling*>& files, const std::stop_token& stop) {
    item.isTop = true;
    if (item.isFolder()) {
        item.isAgreed = true;
        return perform(*item.operation, stop);
    }
    item.privateName = joined(hidden, std::to_string(files.size()));
    files.push_back(&item);
    return Done{};
}

Outcome<Done> PairSync::bringFilesDown(const std::vector<Travelling*>& files, const std::stop_token& stop) {
    std::deque<Pending<Done>> underWay;
    std::optional<Failure> failed;
    const auto waitForOne = [&] {
        const auto down = underWay.front().wait(stop);
        underWay.pop_front();
        if (!down && endsAll(down.failure()))
            failed = down.failure(); // what else did not arrive is not found
    };
    for (const Travelling* item : files) {
        if (underWay.size() >= transfersAtOnce) waitForOne();
        if (failed) return *failed;
        underWay.push_back(around.space.bringDown(pathThere(item->key()),
                                                  (around.local.folder() / item->privateName).string(),
                                                  item->item.there.size));
    }
    while (!underWay.empty())
        waitForOne();
    if (failed) return *failed;
    return Done{};
}

Outcome<Done> PairSync::placeManyHere(std::vector<Travelling>& batch, const std::stop_token& stop) {
    // The disk writes what came and it is read, while the storage is asked.
    auto flushing = std::async(std::launch::async, [this] { return around.local.flush(); });
    auto reading = std::async(std::launch::async, [this, &batch] { readArrived(batch); });
    const auto same = checkUnchangedThere(batch, stop);
    reading.get();
    const auto written = flushing.get();
    if (!same) return same.failure();
    if (!written) return written.failure();
    for (Travelling& item : batch)
        item.isGood = item.isGood && (item.isRead || item.isAgreed || item.isFolder());
    removeOthers(batch);
    std::string skipped = "/"; // no key
    for (Travelling& item : batch) {
        if (isAtOrBelow(item.key(), skipped)) item.isGood = false;
        if (!item.isTop || item.isAgreed || !item.isGood) continue;
        if (!around.local.move(item.privateName, pathHere(item.key()))) {
            skipped = item.key(); // something else has the name now
            item.isGood = false;
        }
    }
    if (const auto flushed = around.local.flush(); !flushed) return flushed.failure();
    std::vector<PathAndItem> agreed;
    for (Travelling& item : batch) {
        if (item.isAgreed || !item.isGood) continue;
        const auto now = around.local.lookAt(pathHere(item.key()));
        item.isGood = now && now->shape == item.item.shape;
        if (!item.isGood) continue;
        // A move is a change of the inode that moves, and of no other.
        if (item.isFolder())
            item.item.here = folderRecord(now->record);
        else if (item.isTop && now->record.inode == item.item.here.inode &&
                 now->record.modified == item.item.here.modified && now->record.size == item.item.here.size)
            item.item.here = now->record;
        agreed.push_back({item.key(), std::move(item.item)});
    }
    around.store.agree(agreed);
    return Done{};
}

void PairSync::readArrived(std::vector<Travelling>& batch) const {
    for (Travelling& item : batch) {
        if (item.isAgreed || item.isFolder()) continue;
        const auto arrived = around.local.lookAt(item.privateName);
        if (!arrived || arrived->shape != Shape::file || arrived->record.size != item.item.there.size)
            continue;
        item.item.here = arrived->record;
        const auto digest = around.local.digest(item.privateName, arrived->record);
        item.isRead = static_cast<bool>(digest);
        if (digest) item.item.digest = *digest;
    }
}

// What came down is what the last look found only when it is there still, unchanged.
Outcome<Done> PairSync::checkUnchangedThere(std::vector<Travelling>& batch, const std::stop_token& stop) {
    ListedFolders folders(around.space, stop);
    std::set<std::string> wanted;
    for (const Travelling& item : batch)
        if (!item.isAgreed) wanted.insert(parentOf(pathThere(item.key())));
    if (const auto listed = folders.fetch(wanted); !listed) return listed.failure();
    for (Travelling& item : batch) {
        if (item.isAgreed) continue;
        const std::string path = pathThere(item.key());
        const auto items = folders.of(parentOf(path));
        if (!items) return items.failure();
        const auto found = (*items)->find(lastOf(path));
        item.isGood = found != (*items)->end() &&
                      (found->second.kind == RemoteItem::Kind::folder) == item.isFolder() &&
                      recordOf(found->second) == item.item.there;
    }
    return Done{};
}

// Nothing goes into place along with a folder that is not agreed on.
void PairSync::removeOthers(const std::vector<Travelling>& batch) const {
    std::unordered_set<std::string> good;
    for (const Travelling& item : batch)
        if (item.isGood) good.insert(item.privateName);
    for (const Travelling& item : batch) {
        if (!item.isTop || !item.isFolder() || item.isAgreed) continue;
        const auto items = around.local.look(item.privateName, nullptr, {});
        if (!items) continue;
        for (const LocalItem& found : *items) {
            std::error_code ignored;
            if (!good.contains(found.path))
                std::filesystem::remove_all(around.local.folder() / found.path, ignored);
        }
    }
}

} // namespace service
