#include "service/PairSync.h"

#include "service/names.h"
#include "service/pair_parts.h"
#include "service/remote_move.h"

#include <algorithm>
#include <iterator>
#include <random>
#include <utility>

namespace service {
namespace {

// FNV-1a, to tell records and storages' own names apart in few bytes; never stored.
std::uint64_t hashOf(std::string_view text, std::uint64_t hash = 0xcbf29ce484222325U) {
    for (const char byte : text)
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3U;
    return hash;
}

std::optional<Identity> identityOf(const LocalRecord& record) {
    if (record.inode == 0 || record.born == 0) return std::nullopt; // a number alone is used again
    return Identity{record.inode, static_cast<std::uint64_t>(record.born)};
}
std::optional<Identity> identityOf(const RemoteRecord& record) {
    if (record.id.empty()) return std::nullopt;
    return Identity{hashOf(record.id), hashOf(record.id, 7)};
}
std::uint64_t hashOf(const RemoteRecord& record) {
    return hashOf(std::to_string(record.size) + " " + std::to_string(record.modified) + " " + record.id) | 1U;
}

std::optional<Digest> digestOf(const RemoteItem& item) {
    const auto found = item.digests.find("sha1");
    Digest digest{};
    if (found == item.digests.end() || found->second.size() != 2 * digest.size()) return std::nullopt;
    const auto valueOf = [](char digit) -> int {
        if (digit >= '0' && digit <= '9') return digit - '0';
        return digit >= 'a' && digit <= 'f' ? digit - 'a' + 10 : -1;
    };
    for (std::size_t i = 0; i < digest.size(); ++i) {
        const int high = valueOf(found->second[2 * i]);
        const int low = valueOf(found->second[2 * i + 1]);
        if (high < 0 || low < 0) return std::nullopt;
        digest[i] = static_cast<std::uint8_t>(high * 16 + low);
    }
    return digest;
}

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

PairSync::PairSync(Surroundings everything, Settings wanted)
    : around(std::move(everything)), settings(std::move(wanted)), guard(around.store), view(&pathBefore) {
    std::random_device device;
    privateWord = std::to_string(device()) + std::to_string(device());
}

Outcome<PairSync::Round> PairSync::round(const std::stop_token& stop) {
    if (!knowsFeatures) {
        const auto known = around.space.features().wait(stop);
        if (!known) return known.failure();
        features = *known;
        knowsFeatures = true;
    }
    if (const auto right = checkMarks(stop); !right) return right.failure();
    recover(stop);
    noteBoot();
    lookAtKept();
    removeOld(stop);
    Round result;
    const auto names = look(result, stop);
    if (!names) return names.failure();
    auto operations = guard.allowed(plan(*names), *names, around.time());
    if (result.restless) // what it belongs to may have to rest
        std::erase_if(operations, [](const Operation& operation) {
            return isPrivate(operation.path) &&
                   (operation.what == What::trash || !isForParked(operation.what));
        });
    result.waiting = guard.waiting();
    return carryOut(operations, std::move(result), stop);
}

Outcome<PairSync::Round> PairSync::carryOut(const std::vector<Operation>& operations, Round result,
                                            const std::stop_token& stop) {
    for (std::size_t index = 0; index < operations.size(); ++index) {
        const Operation& operation = operations[index];
        if (stop.stop_requested()) return Failure{Trouble::cancelled, "cancelled"};
        if (operation.what == What::hold) continue; // said with its reason when its name was read
        if (const std::size_t count = batchAt(operations, index)) {
            const auto done = performMany(operations, index, count, result, stop);
            index += count - 1;
            if (done) continue;
            around.log.info(operation.path, ": ", std::string_view(done.failure().text));
            break;
        }
        const auto done = perform(operation, stop);
        noteUnsteady(operation, done);
        if (done) {
            guard.done(operation, around.time());
            ++result.done;
            continue;
        }
        ++result.postponed;
        around.log.info(operation.path, ": ", std::string_view(done.failure().text));
        if (done.failure().trouble == Trouble::unreachable) break; // the rest would wait as long
        // What follows may have needed it: a plan is made for the whole.
        if (operation.what == What::move || operation.what == What::aside ||
            operation.what == What::makeFolder)
            break;
    }
    if (isAfterCrash && result.isInStep()) {
        isAfterCrash = false;
        around.store.setFact("boot", settings.bootId);
    }
    return result;
}

// What a kill left: either the new version is in its place, and that is agreed on, or the old one goes back.
// As long as the private file lies where it went up, what is in the place is another's.
void PairSync::recover(const std::stop_token& stop) {
    for (const JournalEntry& entry : around.store.unfinished()) {
        if (entry.step == JournalEntry::Step::placeManyThere) {
            if (!recoverMany(entry, stop)) return;
            continue;
        }
        if (!entry.many.empty()) {
            if (!recoverMove(entry, stop)) return;
            continue;
        }
        const auto there = around.space.look(entry.remotePath, false).wait(stop);
        if (!there) return; // the next round tries again
        const auto isLeft = isInSpace(around.space, entry.privatePath, stop);
        if (!isLeft) return;
        const bool arrived = *there && !*isLeft && (*there)->size == entry.item.there.size &&
                             (*there)->modified == entry.item.there.modified;
        if (arrived) {
            around.store.finish(entry.number, entry.path, entry.item);
            continue;
        }
        if (!*there && entry.step == JournalEntry::Step::replaceThere) {
            const auto old = around.space.look(entry.trashPath, false).wait(stop);
            if (!old) return;
            if (*old && !around.space.moveFile(entry.trashPath, entry.remotePath).wait(stop)) return;
        }
        around.store.finish(entry.number, entry.path, std::nullopt);
        // Gone, or a leftover that is removed by age.
        if (*isLeft) (void)around.space.removeFile(entry.privatePath).wait(stop);
    }
}

// Takes the names that a look comes across, in their order, beside what was agreed on, and keeps those where
// something follows, with the folders above them. Of all others nothing is kept: most names of a large pair
// are as they were agreed on.
class PairSync::Compared {
  public:
    Compared(PairSync& owner, const std::string& top, Round& result)
        : sync(owner), round(result), items(owner.around.store, top), isWhole(top.empty()) {
        advance();
    }

    void take(OnBothSides&& name) {
        takeGoneBefore(&name.key);
        if (hasNext && nextPath == name.key) {
            consider(std::move(name), std::move(next));
            advance();
        } else {
            consider(std::move(name), std::nullopt);
        }
    }
    std::vector<Name> finish() {
        takeGoneBefore(nullptr);
        return std::move(names);
    }

  private:
    struct Above {
        OnBothSides sides;
        std::optional<AgreedItem> agreed;
        bool isKept;
    };

    // What waits under a private name is looked at by itself.
    void advance() {
        while ((hasNext = items.next(nextPath, next)) && isWhole && isPrivate(nextPath))
            if (nextPath.find('/') == std::string::npos) sync.parked.push_back(nextPath);
    }

    void takeGoneBefore(const std::string* key) {
        while (hasNext && (!key || pathBefore(nextPath, *key))) {
            consider({nextPath, {}, {}}, std::move(next));
            advance();
        }
    }

    void consider(OnBothSides&& sides, std::optional<AgreedItem>&& agreed) {
        while (!above.empty() && !isAtOrBelow(sides.key, above.back().sides.key))
            above.pop_back();
        const bool isKept = !isAsAgreed(sides, agreed);
        if (isKept) {
            for (Above& folder : above)
                if (!std::exchange(folder.isKept, true)) keep(folder.sides, folder.agreed);
            keep(sides, agreed);
        } else if (!sync.rests.empty()) {
            sync.rests.erase(sides.key);
        }
        const bool isFolder = (sides.here && sides.here->shape == Shape::folder) ||
                              (sides.there && sides.there->shape == Shape::folder) ||
                              (agreed && agreed->shape == Shape::folder);
        if (isFolder) above.push_back({std::move(sides), std::move(agreed), isKept});
    }

    void keep(const OnBothSides& sides, const std::optional<AgreedItem>& agreed) {
        names.push_back(sync.nameOf(sides, agreed, round));
        sync.view[sides.key] = {sides.here, sides.there};
    }

    static bool isAsAgreed(const OnBothSides& sides, const std::optional<AgreedItem>& agreed) {
        if (!agreed || !sides.here || !sides.there || sides.here->shape != agreed->shape ||
            sides.there->shape != agreed->shape)
            return false;
        if (agreed->shape == Shape::file &&
            (!(agreed->here == sides.here->record) || !(agreed->there == recordOf(sides.there->item))))
            return false;
        // A folder of another identity may be one that was moved here.
        if (agreed->shape == Shape::folder &&
            (!(agreed->here == folderRecord(sides.here->record)) || agreed->there.id != sides.there->item.id))
            return false;
        return nameIs(sides.here->path, agreed->hereName) && nameIs(sides.there->path, agreed->thereName);
    }
    static bool nameIs(std::string_view path, std::string_view name) {
        return path.ends_with(name) &&
               (path.size() == name.size() || path[path.size() - name.size() - 1] == '/');
    }

    PairSync& sync;
    Round& round;
    PairStore::Items items;
    bool isWhole;
    std::string nextPath;
    AgreedItem next;
    bool hasNext = false;
    std::vector<Above> above; // folders above the name in hand
    std::vector<Name> names;
};

Outcome<std::vector<Name>> PairSync::look(Round& round, const std::stop_token& stop) {
    view.clear();
    listedThere.clear();
    parked.clear();
    PairWalkOptions options;
    options.remoteFolder = settings.remoteFolder;
    options.remote.foldsCase = features.foldsCase;
    options.remote.isLeftOut = settings.isLeftOut;
    options.remote.hadItems = [this](const std::string& key) { return around.store.hasBelow(key); };
    auto names = compare(options, rootOfPair(), round, stop, true);
    if (!names) return names;
    for (const std::string& key : parked) {
        auto more = lookAtParked(key, options, round, stop);
        if (!more) return more;
        std::move((*more).begin(), (*more).end(), std::back_inserter(*names));
    }
    if (!parked.empty())
        std::sort((*names).begin(), (*names).end(),
                  [](const Name& one, const Name& other) { return pathBefore(one.path, other.path); });
    around.store.agree(std::exchange(renewed, {}));
    markRestless(*names, round);
    return names;
}

// The names below a folder of the pair, and itself when it is not the pair's own, where something follows.
Outcome<std::vector<Name>> PairSync::compare(const PairWalkOptions& options, const OnBothSides& top,
                                             Round& round, const std::stop_token& stop, bool isFolder) {
    Compared compared(*this, top.key, round);
    if (!top.key.empty()) compared.take(OnBothSides(top));
    const auto walked = isFolder ? walkPair(around.local, around.space, options, top, stop,
                                            [&](OnBothSides&& name) { compared.take(std::move(name)); })
                                 : Outcome<Done>(Done{});
    if (!walked) return walked.failure();
    return compared.finish();
}

Name PairSync::nameOf(const OnBothSides& sides, const std::optional<AgreedItem>& known, Round& round) {
    Name name;
    const std::string& key = sides.key;
    name.path = key;
    if (known) {
        name.agreed.emplace();
        name.agreed->shape = known->shape;
        name.agreed->digest = known->digest;
        name.agreed->empty = known->here.size == 0;
        name.agreed->identity = {identityOf(known->here), identityOf(known->there)};
        name.agreed->record = {0, known->shape == Shape::file ? hashOf(known->there) : 0};
        name.agreed->spelling = {known->hereName, known->thereName};
        if (sides.here)
            name.agreed->spelling[0] = spellingOf(key, *known, &AgreedItem::hereName, sides.here->path);
        if (sides.there)
            name.agreed->spelling[1] = spellingOf(key, *known, &AgreedItem::thereName, sides.there->path);
    }
    if (sides.here) name.seen[0] = seenHere(key, *sides.here, known);
    if (sides.there) name.seen[1] = seenThere(key, *sides.there, known);
    for (const std::string& reason :
         {sides.here ? sides.here->reason : "", sides.there ? sides.there->reason : ""})
        if (!reason.empty()) round.problems.push_back({key, reason});
    return name;
}

// The agreed one. Some storages write every name in a normal form of their own: that is no other name, and
// nobody's is written anew for it.
std::string PairSync::spellingOf(const std::string& key, const AgreedItem& agreed,
                                 std::string AgreedItem::*side, const std::string& path) {
    std::string now = lastOf(path);
    const std::string& then = agreed.*side;
    if (now == then || faultOf(now) || keyOf(now, false) != keyOf(then, false)) return then;
    renewedOf(key, agreed).*side = now;
    return now;
}

AgreedItem& PairSync::renewedOf(const std::string& key, const AgreedItem& agreed) {
    if (renewed.empty() || renewed.back().path != key) renewed.push_back({key, agreed});
    return renewed.back().item;
}

// A name that one side has not left alone for a while is unknown for now. Deletions come in bursts, which
// are to be judged as a whole: all wait for the newest one.
void PairSync::markRestless(std::vector<Name>& all, Round& round) {
    struct Unrest {
        std::size_t index;
        const Rest* rest;
        bool isDeletion;
    };
    std::vector<Unrest> changing;
    for (std::size_t index = 0; index < all.size(); ++index) {
        const Name& name = all[index];
        if (isPrivate(name.path)) continue; // goes on at once with what it belongs to
        const auto isAsAgreed = [&](std::size_t side) {
            return name.agreed && name.seen[side].shape == name.agreed->shape && !name.seen[side].differs;
        };
        if (isAsAgreed(0) && isAsAgreed(1)) {
            rests.erase(name.path);
            continue;
        }
        const Held& held = view[name.path];
        const bool isDeletion = name.agreed && (!held.here || !held.there);
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
    if (held.there && held.there->shape == Shape::file)
        record += std::to_string(hashOf(recordOf(held.there->item)));
    else if (held.there)
        record += "folder";
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

Seen PairSync::seenHere(const std::string& key, const LocalItem& item,
                        const std::optional<AgreedItem>& agreed) {
    Seen seen;
    seen.shape = item.shape;
    seen.spelling = lastOf(item.path);
    seen.identity = identityOf(item.record);
    if (item.shape != Shape::file) return seen;
    seen.size = item.record.size;
    if (agreed && agreed->shape == Shape::file && agreed->here == item.record) {
        seen.digest = agreed->digest;
        return seen;
    }
    auto found = learnedHere.find(key);
    if (agreed && (found == learnedHere.end() || !(found->second.here == item.record))) {
        // Perhaps only the time has changed: the content decides.
        if (const auto digest = around.local.digest(item.path, item.record)) {
            learnedHere[key] = {item.record, {}, *digest};
            found = learnedHere.find(key);
        }
    }
    if (found != learnedHere.end() && found->second.here == item.record) seen.digest = found->second.digest;
    seen.differs = !agreed || agreed->shape != Shape::file || seen.digest != agreed->digest;
    seen.isOlder = seen.differs && agreed && agreed->shape == Shape::file &&
                   item.record.modified < agreed->here.modified;
    if (!seen.differs) { // the same content: its record is renewed
        renewedOf(key, *agreed).here = item.record;
    }
    return seen;
}

Seen PairSync::seenThere(const std::string& key, const RemoteEntry& entry,
                         const std::optional<AgreedItem>& agreed) {
    Seen seen;
    seen.shape = entry.shape;
    seen.spelling = lastOf(entry.path);
    const RemoteRecord record = recordOf(entry.item);
    seen.identity = identityOf(record);
    if (entry.shape != Shape::file) return seen;
    seen.size = record.size;
    seen.record = hashOf(record);
    if (agreed && agreed->shape == Shape::file && agreed->there == record) {
        seen.digest = agreed->digest;
        return seen;
    }
    seen.digest = digestOf(entry.item);
    const auto found = learnedThere.find(key);
    if (!seen.digest && found != learnedThere.end() && found->second.there == record)
        seen.digest = found->second.digest;
    seen.differs = !agreed || agreed->shape != Shape::file || seen.digest != agreed->digest;
    seen.isOlder =
        seen.differs && agreed && agreed->shape == Shape::file && record.modified < agreed->there.modified;
    if (!seen.differs) {
        renewedOf(key, *agreed).there = record;
    }
    return seen;
}

} // namespace service
