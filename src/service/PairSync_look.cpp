// What both sides have at each name, beside what was agreed on.
#include "service/PairSync.h"
#include "service/names.h"
#include "service/pair_parts.h"

#include <algorithm>
#include <iterator>
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

} // namespace

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
    options.leftAlone = settings.leftAlone;
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
    seen.isDigestTold =
        std::any_of(entry.item.digests.begin(), entry.item.digests.end(), [](const auto& told) {
            return LocalSide::knowsDigest(told.first); // some clouds have one of their own
        });
    const auto found = learnedThere.find(key);
    if (!seen.digest && found != learnedThere.end() && found->second.there == record)
        seen.digest = found->second.digest;
    // The storage's own digest tells what was agreed on already, under whatever name.
    if (!seen.digest) seen.digest = around.store.contentOf(record);
    seen.differs = !agreed || agreed->shape != Shape::file || seen.digest != agreed->digest;
    seen.isOlder =
        seen.differs && agreed && agreed->shape == Shape::file && record.modified < agreed->there.modified;
    if (!seen.differs) {
        renewedOf(key, *agreed).there = record;
    }
    return seen;
}

} // namespace service
