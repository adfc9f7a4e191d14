// Items that take other names: moves, spellings, conflict copies. A move is written down before it begins, so
// that the agreed records follow the item whatever ends the service. In a ring one item waits under a private
// name, where its record is too: here with what is kept, there beside the pair's items. What a kill left
// there is a name of the next look like all others, and goes on from there.
#include "service/PairSync.h"
#include "service/names.h"
#include "service/pair_parts.h"
#include "service/remote_move.h"
#include "service/space_trash.h"

#include <algorithm>
#include <iterator>

namespace service {
namespace {

// The last four hexadecimal digits.
std::string endOf(const Digest& digest) {
    static constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (std::size_t i = digest.size() - 2; i < digest.size(); ++i) {
        text += digits[digest[i] >> 4U];
        text += digits[digest[i] & 15U];
    }
    return text;
}

} // namespace

bool PairSync::isForParked(What what) {
    return what != What::put && what != What::makeFolder && what != What::aside && what != What::agree &&
           what != What::respell;
}

// Where the item of a private key waits, by its record: relative to the pair. A name that nothing has when
// it waits on the other side.
std::string PairSync::parkedAt(Side side, const std::string& key) const {
    const auto agreed = around.store.at(key);
    if (!agreed) return key;
    const std::string& name = side == Side::here ? agreed->hereName : agreed->thereName;
    if (name.empty()) return key;
    return side == Side::here ? LocalSide::keptAt(name) : name;
}

// The new name is written as the side has it where it was moved.
Outcome<std::string> PairSync::targetOf(Side side, const std::string& from, const std::string& to) {
    if (!isPrivate(to)) {
        const std::string above = parentOf(to);
        return joined(side == Side::here ? pathHere(above) : pathThere(above), nameOn(otherOf(side), to));
    }
    if (side == Side::here) return around.local.newKeptPlace(lastOf(from));
    return joined(settings.remoteFolder, to + "-" + privateWord + "-" + std::to_string(++lastPrivate));
}

Outcome<Done> PairSync::move(Side side, const std::string& key, const std::string& to,
                             const std::stop_token& stop) {
    const std::string from = side == Side::here ? pathHere(key) : pathThere(key);
    const auto agreed = around.store.at(key);
    if (!agreed) return changed(from);
    if (!isPrivate(key) && agreed->shape == Shape::folder) {
        const auto same = side == Side::here ? checkUnchangedHere(key) : checkUnchangedThere(key, stop);
        if (!same) return same.failure();
    }
    const auto target = targetOf(side, from, to);
    if (!target) return target.failure();

    JournalEntry entry;
    entry.step = side == Side::here ? JournalEntry::Step::moveHere : JournalEntry::Step::moveThere;
    entry.path = key;
    entry.privatePath = from;
    AgreedItem item = *agreed;
    (side == Side::here ? item.hereName : item.thereName) = lastOf(*target);
    (side == Side::here ? item.thereName : item.hereName) =
        isPrivate(to) ? std::string() : nameOn(otherOf(side), to);
    entry.item.shape = item.shape;
    entry.many.push_back({to, *target, item});
    const std::int64_t number = around.store.begin(entry);
    const auto moved = side == Side::here ? around.local.move(from, *target)
                                          : moveThereIfFree(from, *target, agreed->shape, stop);
    if (!moved) return moved.failure(); // how far it came the journal tells, and a look at both names
    around.store.finishMove(number, key, entry.many.front());
    eraseBelow(key, side);
    return Done{};
}

// Whether it could be looked at: either it lies under its new name alone, or it was not moved.
bool PairSync::recoverMove(const JournalEntry& entry, const std::stop_token& stop) {
    const auto isAt = [&](const std::string& path) -> Outcome<bool> {
        if (entry.step == JournalEntry::Step::moveHere) return around.local.lookAt(path).has_value();
        return isInSpace(around.space, path, stop);
    };
    const JournalEntry::Placed& moved = entry.many.front();
    const auto isLeft = isAt(entry.privatePath);
    const auto isThere = isLeft ? isAt(moved.remotePath) : isLeft;
    if (!isThere) return false;
    if (*isThere && !*isLeft)
        around.store.finishMove(entry.number, entry.path, moved);
    else
        around.store.finish(entry.number, std::vector<PathAndItem>{});
    return true;
}

// What a ring that was cut off left under a private name, with all below it.
Outcome<std::vector<Name>> PairSync::lookAtParked(const std::string& key, const PairWalkOptions& options,
                                                  Round& round, const std::stop_token& stop) {
    OnBothSides top;
    top.key = key;
    const std::string here = parkedAt(Side::here, key);
    if (here != key) top.here = around.local.lookAt(here);
    const std::string path = parkedAt(Side::there, key);
    if (path != key) {
        const auto item = around.space.look(joined(settings.remoteFolder, path), false).wait(stop);
        if (!item && item.failure().trouble != Trouble::missing) return item.failure();
        if (item && *item) {
            const bool isFolder = (*item)->kind == RemoteItem::Kind::folder;
            top.there = RemoteEntry{key, path, isFolder ? Shape::folder : Shape::file, **item, {}};
        }
    }
    const auto isFolder = [](const auto& item) { return item && item->shape == Shape::folder; };
    return compare(options, top, round, stop, isFolder(top.here) || isFolder(top.there));
}

// Something happened to what waits: what is there goes into the trash, and what is here lies with what is
// kept already.
Outcome<Done> PairSync::giveUpParked(const std::string& key) {
    const std::string top = key.substr(0, key.find('/'));
    const auto found = view.find(top);
    if (found != view.end() && found->second.there) {
        const std::string path = pathThere(top);
        const std::string place = trash::newPlace(path, around.time());
        const bool isFolder = found->second.there->shape == Shape::folder;
        const auto moved =
            (isFolder ? around.space.moveFolder(path, place) : around.space.moveFile(path, place)).wait();
        if (!moved) return moved.failure();
    }
    around.store.forget(top);
    eraseBelow(top, Side::here);
    eraseBelow(top, Side::there);
    return Done{};
}

Outcome<Done> PairSync::respell(Side side, const std::string& key, const std::stop_token& stop) {
    auto agreed = around.store.at(key);
    const Held& held = view.at(key);
    if (!agreed || !held.here || !held.there) return changed(key);
    const std::string here = lastOf(held.here->path);
    const std::string there = lastOf(held.there->path);
    if (here != there && side == Side::there) {
        // A storage that ignores case takes the new spelling for the old item, so the way leads over a third
        // name.
        std::size_t number = 0;
        while (around.store.at(privateName(number)))
            ++number;
        const auto away = move(side, key, privateName(number), stop);
        return away ? move(side, privateName(number), key, stop) : away;
    }
    if (here != there) {
        const std::string from = pathHere(key);
        if (const auto moved = around.local.move(from, joined(parentOf(from), there)); !moved)
            return moved.failure();
    }
    agreed->hereName = agreed->thereName = there;
    around.store.agree(key, *agreed);
    return Done{};
}

std::string PairSync::conflictNameOf(const std::string& path, const std::string& key,
                                     const Digest& digest) const {
    return conflictName(
        lastOf(path), settings.host, around.localTime(), endOf(digest), [&](const std::string& candidate) {
            const std::string other = joined(parentOf(key), keyOf(candidate, features.foldsCase));
            const auto taken = view.find(other);
            return around.local.lookAt(joined(parentOf(path), candidate)).has_value() ||
                   around.store.at(other) || (taken != view.end() && taken->second.there);
        });
}

Outcome<Done> PairSync::aside(const std::string& key) {
    const LocalItem item = *view.at(key).here;
    const auto now = around.local.lookAt(item.path);
    if (!now || now->shape != item.shape || now->record.inode != item.record.inode) return changed(item.path);
    Digest digest{}; // a folder has none
    if (item.shape == Shape::file) {
        const auto known = around.local.digest(item.path, now->record);
        if (!known) return known.failure();
        digest = *known;
    }
    const std::string name = conflictNameOf(item.path, key, digest);
    if (const auto moved = around.local.move(item.path, joined(parentOf(item.path), name)); !moved)
        return moved.failure();
    around.log.info("Kept both versions of ", item.path, "; the one of this machine is ", name);
    eraseBelow(key, Side::here);
    return Done{};
}

} // namespace service
