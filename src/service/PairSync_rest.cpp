// How long what changed has to be left alone before it counts.
#include "service/PairSync.h"
#include "service/names.h"
#include "service/pair_parts.h"

#include <algorithm>

namespace service {
namespace {

constexpr std::chrono::milliseconds freshLook{30000}; // until what went up of late is looked at again
constexpr std::chrono::minutes longUnrest{10}; // then its unrest is told, and no reason to look again soon

} // namespace

// A file that changes while it goes up is tried again after twice the time, up to an hour.
void PairSync::noteUnsteady(const Operation& operation, const Outcome<Done>& outcome) {
    constexpr std::chrono::steady_clock::duration first = std::chrono::seconds(5);
    constexpr std::chrono::steady_clock::duration longest = std::chrono::hours(1);
    if (operation.what != What::put || operation.side != Side::there) return;
    if (outcome) {
        unsteady.erase(operation.path);
    } else if (outcome.failure().trouble == Trouble::missing) {
        Unsteady& item = unsteady[operation.path];
        item.wait = std::clamp(2 * item.wait, first, longest);
        item.until = around.now() + item.wait;
    }
}

namespace {

// By index: names that one side misses because it has their item under another name now, and folders above
// such ones that it misses too. Identity tells it, or the content.
std::vector<bool> movedAway(const std::vector<Name>& all) {
    std::vector<bool> moved(all.size());
    for (const std::size_t side : {0U, 1U}) {
        std::set<Identity> identities;
        std::set<Digest> digests;
        for (const Name& name : all) {
            const Seen& now = name.seen[side];
            if (now.shape != Shape::file && now.shape != Shape::folder) continue;
            if (name.agreed && name.agreed->identity[side] == now.identity) continue;
            if (now.identity) identities.insert(*now.identity);
            if (now.shape == Shape::file && now.digest) digests.insert(*now.digest);
        }
        if (identities.empty() && digests.empty()) continue;
        std::vector<std::size_t> above; // missing folders, each in the one before
        for (std::size_t index = 0; index < all.size(); ++index) {
            const Name& name = all[index];
            while (!above.empty() && !isAtOrBelow(name.path, all[above.back()].path))
                above.pop_back();
            if (!name.agreed || name.seen[side].shape != Shape::absent) continue;
            const auto& identity = name.agreed->identity[side];
            const bool isFile = name.agreed->shape == Shape::file;
            if ((identity && identities.contains(*identity)) ||
                (isFile && !name.agreed->empty && digests.contains(name.agreed->digest))) {
                moved[index] = true;
                for (auto folder = above.rbegin(); folder != above.rend() && !moved[*folder]; ++folder)
                    moved[*folder] = true;
            }
            if (!isFile) above.push_back(index);
        }
    }
    return moved;
}

} // namespace

// A name that one side has not left alone for a while is unknown for now. Deletions come in bursts, which
// are to be judged as a whole: all wait for the newest one. What was moved is not deleted: it would come
// back, or go up, as something new long before its old name counted as free.
void PairSync::markRestless(std::vector<Name>& all, Round& round) {
    struct Unrest {
        std::size_t index;
        const Rest* rest;
        bool isDeletion;
    };
    std::vector<Unrest> changing;
    const std::vector<bool> moved = movedAway(all);
    for (std::size_t index = 0; index < all.size(); ++index) {
        const Name& name = all[index];
        if (isPrivate(name.path)) continue; // goes on at once with what it belongs to
        if (name.seen[0].shape == Shape::unknown || name.seen[1].shape == Shape::unknown) {
            rests.erase(name.path); // nothing follows from it, whatever it does
            continue;
        }
        const auto isAsAgreed = [&](std::size_t side) {
            return name.agreed && name.seen[side].shape == name.agreed->shape && !name.seen[side].differs;
        };
        if (isAsAgreed(0) && isAsAgreed(1)) {
            rests.erase(name.path);
            continue;
        }
        const Held& held = view[name.path];
        const bool isDeletion = name.agreed && (!held.here || !held.there) && !moved[index];
        changing.push_back({index, &noteRest(name.path, held, isDeletion), isDeletion});
    }
    const auto now = around.now();
    std::optional<std::set<std::string>> uploads; // of late
    const auto isFresh = [&](const std::string& path) {
        if (!uploads)
            uploads = around.store.uploadedSince(
                (around.time() - settings.restAfterUpload).time_since_epoch().count());
        return uploads->contains(path);
    };
    for (const Unrest& unrest : changing) {
        const std::string& path = all[unrest.index].path;
        const Held& held = view[path];
        auto left = restLeft(path, held, *unrest.rest, unrest.isDeletion);
        const bool isRested = left <= std::chrono::milliseconds(0);
        if (isRested && unrest.isDeletion && held.here && !held.there && isFresh(path)) left = freshLook;
        const auto waits = unsteady.find(path);
        const bool keepsChanging = (waits != unsteady.end() && now < waits->second.until) ||
                                   (!isRested && !unrest.isDeletion && now - unrest.rest->first > longUnrest);
        if (!keepsChanging && left <= std::chrono::milliseconds(0)) continue;
        all[unrest.index].seen[held.here ? 0 : 1].shape = Shape::unknown;
        if (keepsChanging) {
            round.problems.push_back({path, "it keeps changing, and waits"});
            continue;
        }
        round.restless = true;
        round.restFor = std::min(round.restFor, left);
    }
}

const PairSync::Rest& PairSync::noteRest(const std::string& key, const Held& held, bool isDeletion) {
    std::string record;
    if (held.here && held.here->shape == Shape::file) {
        const LocalRecord& now = held.here->record;
        record = std::to_string(now.size) + " " + std::to_string(now.modified) + " " +
                 std::to_string(now.changed) + " " + std::to_string(now.inode);
    } else if (held.here) {
        record = "folder";
    }
    record += "|";
    if (held.there && held.there->shape == Shape::file) {
        const RemoteRecord now = recordOf(held.there->item);
        record += std::to_string(now.size) + " " + std::to_string(now.modified) + " " + now.id;
    } else if (held.there) {
        record += "folder";
    }
    const auto now = around.now();
    const auto [place, isNew] = rests.try_emplace(key, Rest{record, now, now});
    Rest& rest = place->second;
    if (isDeletion && (isNew || rest.record != record)) lastDeletion = now;
    if (rest.record != record) rest = {record, now, rest.first};
    return rest;
}

// How long a name has to go on as it is before it counts.
std::chrono::milliseconds PairSync::restLeft(const std::string& key, const Held& held, const Rest& rest,
                                             bool isDeletion) {
    using std::chrono::milliseconds;
    const auto now = around.now();
    if (isDeletion) {
        const auto quiet = std::chrono::floor<milliseconds>(now - std::max(rest.since, lastDeletion));
        return settings.restOfDeletions - quiet;
    }
    const auto precision = milliseconds(held.there ? 2 * features.precision / 1'000'000 : 0);
    const auto rested = std::chrono::floor<milliseconds>(now - rest.since);
    const auto left = std::max(settings.rest, precision) - rested;
    if (left <= milliseconds(0) || !isSaved(key, held)) return left;
    // Who saves again and again gets the longer rest from the second time on.
    const auto last = hurried.find(key);
    if (last != hurried.end() && now - last->second < settings.betweenHurries) return left;
    if (rested < settings.restOfSaved) return settings.restOfSaved - rested;
    hurried[key] = now;
    return {};
}

// Whether the file here is a new version of the agreed one, the whole of it, that nothing else came with:
// nobody has it open for writing. Where times of change are whole seconds they tell too little.
bool PairSync::isSaved(const std::string& key, const Held& sides) const {
    if (!sides.here || sides.here->shape != Shape::file || !sides.there || sides.there->shape != Shape::file)
        return false;
    const auto known = around.store.at(key);
    if (!known || known->shape != Shape::file) return false;
    return known->there == recordOf(sides.there->item) && sides.here->record.changed % 1'000'000'000 != 0 &&
           around.local.isAtRest(sides.here->path);
}

} // namespace service
