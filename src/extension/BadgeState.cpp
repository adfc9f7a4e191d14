#include "extension/BadgeState.h"

#include "paths/path_strings.h"

namespace extension {

PathsAndAncestors::PathsAndAncestors(PathList pathList) : paths(std::move(pathList)) {
    known.reserve(2 * paths->size());
    std::vector<HashedPath> levels;
    for (const std::string& path : *paths) {
        if (!path.starts_with('/')) continue; // names no item
        std::string_view standard = path;
        if (!paths::isStandardForm(path))
            standard = standardForms.emplace_back(paths::standardisedPath(path));
        levels.clear();
        forEachLevel(standard, [&levels](const PathLevel& level) {
            levels.push_back({level.hash, level.standard});
        });
        // From the path upwards until a folder is known: everything above that one is known too.
        for (auto level = levels.rbegin(); level != levels.rend(); ++level)
            if (!known.insert(*level).second) break;
    }
}

const std::string* PathsAndAncestors::firstBeneath(std::string_view path) const {
    const std::string standard = paths::standardisedPath(path);
    for (const std::string& candidate : *paths)
        if (paths::isChildOfPath(paths::standardisedPath(candidate), standard)) return &candidate;
    return nullptr;
}

BadgeState::Roots::Roots(WatchedPaths watched) : paths(std::move(watched)) {
    std::size_t rank = 0;
    for (const platform::FileURL& root : paths) {
        const std::string standard = paths::standardisedPath(root.path());
        std::uint64_t hash = 0;
        forEachLevel(standard, [&hash](const PathLevel& level) { hash = level.hash; });
        // Where roots differ only in spelling, the first decides wherever any of them would.
        if (find(PathLevel{standard, standard, hash}) == nullptr) {
            const Root& first = all.emplace_back(Root{standard, root.path(), rank});
            byPath.emplace(HashedPath{hash, first.standard}, &first);
        }
        ++rank;
    }
}

BadgeState::BadgeState()
    : watched_paths(std::make_shared<const Roots>(WatchedPaths())),
      _uploading_files(
          std::make_shared<const PathsAndAncestors>(std::make_shared<const std::vector<std::string>>())),
      _working_files(_uploading_files) {}

std::shared_ptr<const BadgeState> BadgeState::withRoots(WatchedPaths watched) const {
    auto next = std::make_shared<BadgeState>(*this);
    next->watched_paths = std::make_shared<const Roots>(std::move(watched));
    ++next->number;
    return next;
}

std::shared_ptr<const BadgeState> BadgeState::withFiles(PathList uploadingFiles,
                                                        PathList workingFiles) const {
    auto next = std::make_shared<BadgeState>(*this);
    if (uploadingFiles != _uploading_files->list())
        next->_uploading_files = std::make_shared<const PathsAndAncestors>(std::move(uploadingFiles));
    if (workingFiles != _working_files->list())
        next->_working_files = std::make_shared<const PathsAndAncestors>(std::move(workingFiles));
    ++next->number;
    return next;
}

BadgeRule BadgeState::rule(const platform::FileURL& item) const {
    if (watched_paths->paths.empty()) return BadgeRule::outside;
    const std::string_view path = item.path();
    const Root* first = nullptr;
    BadgeRule result = BadgeRule::outside;
    forEachLevel(path, [&](const PathLevel& level) {
        first = firstOf(first, watched_paths->find(level));
        if (level.path.size() == path.size()) // the item itself; the levels above it only tell the root
            result = ruleAt(level, first);
    });
    return result;
}

BadgeState::Explanation BadgeState::explain(const platform::FileURL& item) const {
    Explanation explanation;
    const Root* first =
        decide(item.path(), [&](const PathLevel&, BadgeRule rule) { explanation.rule = rule; });
    if (first != nullptr) explanation.root = first->path;
    const PathsAndAncestors* files = explanation.rule == BadgeRule::uploading ? _uploading_files.get()
                                     : explanation.rule == BadgeRule::working ? _working_files.get()
                                                                              : nullptr;
    if (files != nullptr)
        if (const std::string* file = files->firstBeneath(item.path())) explanation.file = *file;
    return explanation;
}

} // namespace extension
