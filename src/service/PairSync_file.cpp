// A round for single files that somebody has just saved. It looks at these names alone on both sides, and at
// no folder: what it cannot tell is left to a whole round.
#include "service/PairSync.h"
#include "service/names.h"
#include "service/pair_parts.h"

#include <algorithm>

namespace service {

Outcome<std::optional<PairSync::Round>> PairSync::roundOf(const std::set<std::string>& paths,
                                                          const std::stop_token& stop) {
    if (!knowsFeatures || !around.store.unfinished().empty()) return std::optional<Round>();
    if (const auto right = checkMarks(stop); !right) return right.failure();
    view.clear();
    Round result;
    Names names(&pathBefore);
    for (const std::string& path : paths) {
        const auto isTold = lookAtFile(path, names, result, stop);
        if (!isTold) return isTold.failure();
        if (!*isTold) return std::optional<Round>();
    }
    around.store.agree(std::exchange(renewed, {}));
    std::vector<Name> all;
    all.reserve(names.size());
    for (auto& [key, name] : names)
        all.push_back(std::move(name));
    markRestless(all, result);
    const bool isOlder = std::any_of(all.begin(), all.end(), [](const Name& name) {
        return name.seen[0].isOlder || name.seen[1].isOlder;
    });
    if (isOlder) return std::optional<Round>(); // may have to wait for a word: that is judged over the whole
    auto done = carryOut(plan(all), std::move(result), stop);
    if (!done) return done.failure();
    return std::optional(std::move(*done));
}

// False when a look at the file alone does not tell enough.
Outcome<bool> PairSync::lookAtFile(const std::string& path, Names& names, Round& round,
                                   const std::stop_token& stop) {
    const std::string name = lastOf(path);
    if (isPrivate(name) || (settings.isLeftOut && settings.isLeftOut(path))) return true;
    if (settings.leftAlone && settings.leftAlone(keyOf(path, features.foldsCase)) != nullptr) return true;
    if (faultOf(name)) return false;
    const auto folder = folderAbove(path, names, round);
    if (!folder) return false;
    OnBothSides sides;
    sides.key = joined(folder->key, keyOf(name, features.foldsCase));
    sides.here = around.local.lookAt(path);
    const auto agreed = around.store.at(sides.key);
    if (!sides.here && !agreed) return true; // it came and went
    if (!sides.here || sides.here->shape != Shape::file || (agreed && agreed->shape != Shape::file))
        return false;
    if (agreed && agreed->here == sides.here->record && agreed->hereName == name) {
        rests.erase(sides.key);
        return true;
    }
    const std::string nameThere = agreed ? agreed->thereName : name;
    const std::string pathThere = joined(folder->there->path, nameThere);
    const auto item = around.space.look(joined(settings.remoteFolder, pathThere), false).wait(stop);
    if (!item && item.failure().trouble != Trouble::missing) return item.failure();
    const bool isThere = item && *item;
    if (isThere != agreed.has_value()) return false; // more has happened than that a file was saved
    if (isThere) {
        if ((*item)->kind != RemoteItem::Kind::file) return false;
        sides.there.emplace();
        sides.there->key = sides.key;
        sides.there->path = pathThere;
        sides.there->item = **item;
    }
    names.insert_or_assign(sides.key, nameOf(sides, agreed, round));
    view[sides.key] = {sides.here, sides.there};
    return true;
}

// The folder that a path lies in, as both sides agreed on it; with those above it in the names. None when it
// is not there like that.
std::optional<OnBothSides> PairSync::folderAbove(const std::string& path, Names& names, Round& round) {
    const std::string folder = parentOf(path);
    if (folder.empty()) return rootOfPair();
    const auto above = folderAbove(folder, names, round);
    const std::string name = lastOf(folder);
    if (!above || isPrivate(name) || faultOf(name)) return std::nullopt;
    OnBothSides sides;
    sides.key = joined(above->key, keyOf(name, features.foldsCase));
    if (settings.isLeftOut && settings.isLeftOut(folder)) return std::nullopt;
    const auto agreed = around.store.at(sides.key);
    sides.here = around.local.lookAt(folder);
    const bool isHere = sides.here && sides.here->shape == Shape::folder;
    if (!agreed || agreed->shape != Shape::folder || !isHere || agreed->hereName != name) return std::nullopt;
    sides.there.emplace();
    sides.there->key = sides.key;
    sides.there->path = joined(above->there->path, agreed->thereName);
    sides.there->shape = Shape::folder;
    sides.there->item.name = agreed->thereName;
    sides.there->item.kind = RemoteItem::Kind::folder;
    sides.there->item.id = agreed->there.id;
    if (!names.contains(sides.key)) {
        names.emplace(sides.key, nameOf(sides, agreed, round));
        view[sides.key] = {sides.here, sides.there};
    }
    return sides;
}

} // namespace service
