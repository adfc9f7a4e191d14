// What a pair does: each operation looks once more at what it is about to change, and changes nothing when
// that is not as the plan found it.
#include "service/PairSync.h"
#include "service/names.h"
#include "service/pair_parts.h"
#include "service/remote_move.h"
#include "service/space_trash.h"

#include <algorithm>

namespace service {
namespace {

constexpr std::string_view uploadFolder = "up";

} // namespace

Outcome<Done> PairSync::perform(const Operation& operation, const std::stop_token& stop) {
    const std::string& key = operation.path;
    if (key.starts_with(privatePrefix) && !isForParked(operation.what)) return giveUpParked(key);
    switch (operation.what) {
    case What::put:
        return operation.side == Side::there ? putThere(key, operation.replaces, stop)
                                             : putHere(key, operation.replaces, stop);
    case What::makeFolder:
        return makeFolder(operation.side, key, stop);
    case What::trash:
        return operation.side == Side::there ? trashThere(key, stop) : trashHere(key, stop);
    case What::move:
        return move(operation.side, key, operation.to, stop);
    case What::respell:
        return respell(operation.side, key, stop);
    case What::aside:
        return aside(key);
    case What::carry:
        around.store.rename(key, operation.to);
        return Done{};
    case What::agree:
        return agree(key);
    case What::forget:
        around.store.forget(key);
        return Done{};
    case What::learn: // many at once
    case What::hold:
        break;
    }
    return Done{};
}

// The name that an item has or gets on a side: its own there, else the other side's.
std::string PairSync::nameOn(Side side, const std::string& key) const {
    const auto found = view.find(key);
    if (found == view.end()) return lastOf(key);
    const Held& held = found->second;
    const bool isHere = side == Side::here ? held.here.has_value() : !held.there.has_value();
    if (isHere && held.here) return lastOf(held.here->path);
    if (held.there) return lastOf(held.there->path);
    return lastOf(key);
}

std::string PairSync::pathHere(const std::string& key) const {
    if (key.empty()) return {};
    const auto found = view.find(key);
    if (found != view.end() && found->second.here) return found->second.here->path;
    if (isPrivate(key)) return parkedAt(Side::here, key);
    return joined(pathHere(parentOf(key)), nameOn(Side::here, key));
}

std::string PairSync::pathThere(const std::string& key) const {
    if (key.empty()) return settings.remoteFolder;
    const auto found = view.find(key);
    if (found != view.end() && found->second.there)
        return joined(settings.remoteFolder, found->second.there->path);
    if (isPrivate(key)) return joined(settings.remoteFolder, parkedAt(Side::there, key));
    return joined(pathThere(parentOf(key)), nameOn(Side::there, key));
}

std::string PairSync::newPrivatePath(std::string_view folder) {
    return std::string(privatePrefix) + "/" + std::string(folder) + "/" + privateWord + "-" +
           std::to_string(++lastPrivate);
}

void PairSync::eraseBelow(const std::string& key, Side side) {
    for (auto at = view.lower_bound(key); at != view.end() && isAtOrBelow(at->first, key); ++at) {
        if (side == Side::here)
            at->second.here.reset();
        else
            at->second.there.reset();
    }
}

// Everything at and below is as the look found it, and nothing has come.
Outcome<Done> PairSync::checkUnchangedThere(const std::string& key, const std::stop_token& stop) {
    const RemoteEntry& expected = *view.at(key).there;
    const std::string path = pathThere(key);
    const auto item = around.space.look(path, false).wait(stop);
    if (!item) return item.failure();
    if (!*item || (*item)->kind != expected.item.kind || !(recordOf(**item) == recordOf(expected.item)))
        return changed(path);
    if (expected.shape != Shape::folder) return Done{};
    RemoteLookOptions options;
    options.foldsCase = features.foldsCase;
    if (settings.goesAlong)
        options.isLeftOut = [&](const std::string& below) { return settings.goesAlong(joined(key, below)); };
    const auto now = lookAtSpace(around.space, path, options, stop);
    if (!now) return now.failure();
    std::size_t expectedBelow = 0;
    for (auto at = std::next(view.find(key)); at != view.end() && isAtOrBelow(at->first, key); ++at)
        if (at->second.there) ++expectedBelow;
    for (const RemoteEntry& entry : *now) {
        const std::string below = joined(key, entry.key);
        const auto found = view.find(below);
        if (found == view.end()) { // the look kept nothing of what was as agreed
            const auto agreed = around.store.at(below);
            if (!agreed || agreed->shape != entry.shape || !(agreed->there == recordOf(entry.item)))
                return changed(path);
            continue;
        }
        if (!found->second.there || entry.shape != found->second.there->shape ||
            !(recordOf(entry.item) == recordOf(found->second.there->item)))
            return changed(path);
        --expectedBelow;
    }
    if (expectedBelow != 0) return changed(path);
    return Done{};
}

// Of such items the look kept nothing.
bool PairSync::isAsAgreedHere(const LocalItem& item) const {
    std::string key;
    for (const std::filesystem::path& name : std::filesystem::path(item.path)) {
        if (faultOf(name.string())) return false;
        key = joined(key, keyOf(name.string(), features.foldsCase));
    }
    const auto agreed = around.store.at(key);
    const bool isFolder = item.shape == Shape::folder;
    return agreed && agreed->shape == item.shape &&
           agreed->here == (isFolder ? folderRecord(item.record) : item.record) && !view.contains(key);
}

Outcome<Done> PairSync::checkUnchangedHere(const std::string& key) {
    const LocalItem& expected = *view.at(key).here;
    const auto same = [](const LocalItem& now, const LocalItem& then) {
        if (now.shape != then.shape) return false;
        return now.shape == Shape::folder ? now.record.inode == then.record.inode : now.record == then.record;
    };
    const auto item = around.local.lookAt(expected.path);
    if (!item || !same(*item, expected)) return changed(expected.path);
    if (expected.shape != Shape::folder) return Done{};
    const auto now = around.local.look(expected.path, settings.goesAlong, {});
    if (!now) return now.failure();
    std::map<std::string, const LocalItem*> known;
    for (auto at = std::next(view.find(key)); at != view.end() && isAtOrBelow(at->first, key); ++at)
        if (at->second.here) known.emplace(at->second.here->path, &*at->second.here);
    std::size_t expectedBelow = known.size();
    for (const LocalItem& found : *now) {
        const auto then = known.find(found.path);
        if (then != known.end() ? !same(found, *then->second) : !isAsAgreedHere(found))
            return changed(expected.path);
        if (then != known.end()) --expectedBelow;
    }
    if (expectedBelow != 0) return changed(expected.path);
    return Done{};
}

// The old version goes to the trash and is looked at there; only then the new one, which lies complete under
// a private name, takes the name.
Outcome<Done> PairSync::putThere(const std::string& key, bool replaces, const std::stop_token& stop) {
    const LocalItem item = *view.at(key).here;
    const std::string path = pathThere(key);
    if (replaces && isLostByACrash(item, key)) {
        if (const auto moved = aside(key); !moved) return moved.failure();
        around.store.forget(key); // else its absence would look like a deletion
        return Done{};
    }
    const std::string privatePath = newPrivatePath(uploadFolder);
    auto goingUp = around.space.bringUp((around.local.folder() / item.path).string(), privatePath);
    const auto digest = around.local.digest(item.path, item.record); // meanwhile
    const auto up = digest ? goingUp.wait(stop) : Outcome<Done>(digest.failure());
    const auto after = around.local.lookAt(item.path);
    if (!up || !after || !(after->record == item.record)) {
        (void)around.space.removeFile(privatePath).wait(stop);
        return up ? changed(item.path) : up.failure();
    }
    const auto arrived = around.space.look(privatePath, false).wait(stop);
    if (!arrived) return arrived.failure();
    if (!*arrived || (*arrived)->size != item.record.size)
        return Failure{Trouble::other, "what the storage has of " + item.path + " is not what was sent"};

    JournalEntry entry;
    entry.step = replaces ? JournalEntry::Step::replaceThere : JournalEntry::Step::placeThere;
    entry.path = key;
    entry.remotePath = path;
    entry.privatePath = privatePath;
    entry.item = {Shape::file, *digest, item.record, recordOf(**arrived), lastOf(item.path), lastOf(path)};
    if (replaces) entry.trashPath = trash::newPlace(path, around.time());
    const std::int64_t number = around.store.begin(entry);
    const auto giveUp = [&](Failure failure) -> Outcome<Done> {
        around.store.finish(number, key, std::nullopt); // first: it is recognised by the private file
        (void)around.space.removeFile(privatePath).wait(stop);
        return failure;
    };
    if (replaces) {
        if (const auto moved = around.space.moveFile(path, entry.trashPath).wait(stop); !moved)
            return moved.failure(); // nobody knows how far it came: the journal does
        const auto old = around.space.look(entry.trashPath, false).wait(stop);
        if (!old) return old.failure();
        const auto agreed = around.store.at(key);
        // Time and size say it; a storage may give a moved item another identity.
        const bool isPlanned = *old && agreed && (*old)->size == agreed->there.size &&
                               (*old)->modified == agreed->there.modified;
        if (!isPlanned) {
            if (*old && !around.space.moveFile(entry.trashPath, path).wait(stop)) return changed(path);
            return giveUp(changed(path));
        }
    }
    const auto placed = moveThereIfFree(privatePath, path, Shape::file, stop);
    if (!placed && placed.failure().trouble == Trouble::missing) return giveUp(placed.failure());
    if (!placed) return placed.failure();
    // The private file's record, and no later one: that could be of somebody else's content.
    around.store.finish(number, key, entry.item, around.time().time_since_epoch().count());
    return Done{};
}

Outcome<Done> PairSync::moveThereIfFree(const std::string& from, const std::string& to, Shape shape,
                                        const std::stop_token& stop) {
    return moveIfFree(around.space, from, to, shape == Shape::folder, stop);
}

Outcome<Done> PairSync::putHere(const std::string& key, bool replaces, const std::stop_token& stop) {
    const RemoteEntry entry = *view.at(key).there;
    const std::string path = pathHere(key);
    const auto& here = view.at(key).here;
    if (replaces && !here) return changed(path);
    const auto hidden = around.local.incoming(path);
    if (!hidden) return hidden.failure();
    const auto discard = [&hidden] {
        std::error_code ignored;
        std::filesystem::remove(*hidden, ignored);
    };
    const auto down = around.space.bringDown(pathThere(key), hidden->string(), entry.item.size).wait(stop);
    const auto after = down ? around.space.look(pathThere(key), false).wait(stop)
                            : Outcome<std::optional<RemoteItem>>(down.failure());
    if (!after || !*after || !(recordOf(**after) == recordOf(entry.item))) {
        discard();
        return after ? changed(pathThere(key)) : after.failure();
    }
    const std::string relative = hidden->lexically_relative(around.local.folder()).string();
    const auto arrived = around.local.lookAt(relative);
    const auto digest = arrived ? around.local.digest(relative, arrived->record)
                                : Outcome<Digest>(Failure{Trouble::other, path + " did not arrive"});
    if (!digest || arrived->record.size != entry.item.size) {
        discard();
        return digest ? Failure{Trouble::other, path + " did not arrive whole"} : digest.failure();
    }
    AgreedItem item{Shape::file, *digest, {}, recordOf(entry.item), lastOf(path), lastOf(entry.path)};
    const auto agreed = around.store.at(key);
    if (replaces && agreed && agreed->digest == *digest) { // the storage only tells it differently
        discard();
        item.here = here->record;
    } else {
        const auto placed =
            around.local.place(*hidden, path, replaces ? std::optional(here->record) : std::nullopt);
        if (!placed) {
            discard();
            return placed.failure();
        }
        item.here = placed->record;
        if (replaces) {
            const PairStore::Kept old{placed->kept, path, here->record,
                                      around.time().time_since_epoch().count()};
            around.store.keep(old);
            kept.push_back(old);
        }
    }
    around.store.agree(key, item);
    return Done{};
}

Outcome<Done> PairSync::makeFolder(Side side, const std::string& key, const std::stop_token& stop) {
    const std::string here = pathHere(key);
    const std::string there = pathThere(key);
    if (side == Side::here) {
        if (const auto made = around.local.makeFolder(here); !made) return made.failure();
    } else {
        const auto isTaken = isInSpace(around.space, there, stop);
        if (!isTaken) return isTaken.failure();
        if (*isTaken) return changed(there);
        if (const auto made = around.space.makeFolder(there).wait(stop); !made) return made.failure();
    }
    const auto item = around.local.lookAt(here);
    const auto entry = around.space.look(there, false).wait(stop);
    if (!entry) return entry.failure();
    if (!item || item->shape != Shape::folder) return changed(here);
    RemoteRecord record;
    if (*entry) record.id = (*entry)->id;
    const AgreedItem made{Shape::folder, {}, folderRecord(item->record), record, lastOf(here), lastOf(there)};
    around.store.agree(key, made);
    return Done{};
}

// That an item is not there is believed only of a list that is newer than the look, and of a folder that is
// one by its own account. Each folder is listed once for all that is missing in it: many storages list it for
// each question after a missing name.
Outcome<Done> PairSync::checkGoneThere(const std::string& key, const std::stop_token& stop) {
    const std::string folder = parentOf(key);
    if (!folder.empty() && !view.at(folder).there) return checkGoneThere(folder, stop);
    auto listed = listedThere.find(folder);
    if (listed == listedThere.end()) {
        const std::string path = pathThere(folder);
        if (!path.empty()) { // the space itself is one
            const auto above = around.space.look(path, false).wait(stop);
            if (!above) return above.failure();
            if (!*above || (*above)->kind != RemoteItem::Kind::folder) return changed(path);
        }
        const auto list = around.space.list(path, false).wait(stop);
        if (!list) return list.failure();
        listed = listedThere.try_emplace(folder).first;
        for (const RemoteItem& item : *list)
            if (!faultOf(item.name)) listed->second.insert(keyOf(item.name, features.foldsCase));
    }
    if (listed->second.contains(lastOf(key)) != view.at(key).there.has_value())
        return changed(pathThere(key));
    return Done{};
}

Outcome<Done> PairSync::checkGoneHere(const std::string& key) const {
    const std::string path = pathHere(key);
    const auto now = around.local.lookAt(path);
    const auto& then = view.at(key).here;
    if (now.has_value() != then.has_value() || (now && now->shape != then->shape)) return changed(path);
    return Done{};
}

Outcome<Done> PairSync::trashHere(const std::string& key, const std::stop_token& stop) {
    if (const auto gone = checkGoneThere(key, stop); !gone) return gone.failure();
    if (const auto same = checkUnchangedHere(key); !same) return same.failure();
    const std::string path = pathHere(key);
    if (const auto trashed = around.trash.trash(around.local.folder() / path); !trashed) {
        // Where the desktop has no trash it is kept all the same.
        if (const auto saved = around.local.keep(path, lastOf(path)); !saved) return saved.failure();
    }
    around.store.forget(key);
    eraseBelow(key, Side::here);
    return Done{};
}

Outcome<Done> PairSync::trashThere(const std::string& key, const std::stop_token& stop) {
    if (const auto gone = checkGoneHere(key); !gone) return gone.failure();
    if (const auto same = checkUnchangedThere(key, stop); !same) return same.failure();
    const std::string path = pathThere(key);
    const std::string place = trash::newPlace(path, around.time());
    const bool isFolder = view.at(key).there->shape == Shape::folder;
    const auto moved =
        (isFolder ? around.space.moveFolder(path, place) : around.space.moveFile(path, place)).wait(stop);
    if (!moved) return moved.failure();
    around.store.forget(key);
    eraseBelow(key, Side::there);
    return Done{};
}

Outcome<Done> PairSync::agree(const std::string& key) {
    const Held& held = view.at(key);
    if (!held.here || !held.there) return changed(key);
    AgreedItem item;
    item.shape = held.here->shape;
    item.here = item.shape == Shape::folder ? folderRecord(held.here->record) : held.here->record;
    item.there = recordOf(held.there->item);
    item.hereName = lastOf(held.here->path);
    item.thereName = lastOf(held.there->path);
    if (item.shape == Shape::file) {
        const auto digest = around.local.digest(held.here->path, held.here->record);
        if (!digest) return digest.failure();
        item.digest = *digest;
    }
    around.store.agree(key, item);
    return Done{};
}

} // namespace service
