#include "host_service/LinkedDirectories.h"

#include "extension/path_levels.h"

#include <utility>

namespace host_service {

using platform::FileURL;

RootIdentities identitiesOf(const extension::WatchedPaths& roots, platform::FileSystem& fileSystem) {
    RootIdentities identities;
    for (const FileURL& root : roots)
        if (const auto kind = fileSystem.kind(root.path()); kind && kind->isDirectory)
            identities.emplace(kind->identity, root.path());
    return identities;
}

std::string ownPathOf(const std::string& directory, const RootIdentities& roots,
                      platform::FileSystem& fileSystem) {
    if (roots.empty()) return {};
    std::string linked; // what the nearest link or bind mount leads to
    // From the directory upwards: the nearest root counts.
    for (std::string_view level = directory; level.size() > 1; level = level.substr(0, level.rfind('/'))) {
        const auto kind = fileSystem.kind(level);
        if (!kind) return {}; // it has gone, or its disk does not answer
        const auto root = roots.find(kind->identity);
        if (root != roots.end()) return root->second + directory.substr(level.size());
        if (linked.empty() && kind->leadsTo.starts_with('/'))
            linked = kind->leadsTo + directory.substr(level.size());
    }
    return linked.empty() || linked == directory ? std::string() : ownPathOf(linked, roots, fileSystem);
}

bool LinkedDirectories::set(const std::string& directory, const std::string& own) {
    const std::lock_guard guard(lock);
    const auto known = ownPaths.find(directory);
    if (known == ownPaths.end() ? own.empty() : known->second == own) return false;
    if (known != ownPaths.end()) {
        const auto place = shown.find(known->second);
        place->second.erase(directory);
        if (place->second.empty()) shown.erase(place);
        ownPaths.erase(known);
    }
    if (!own.empty()) {
        ownPaths.emplace(directory, own);
        shown[own].insert(directory);
    }
    isEmpty = ownPaths.empty();
    return true;
}

FileURL LinkedDirectories::translated(FileURL item) const {
    if (isEmpty) return item;
    std::string path; // in standard form
    std::size_t length = 0;
    std::string own;
    {
        const std::lock_guard guard(lock);
        extension::forEachLevel(item.path(), [&](const extension::PathLevel& level) {
            path = level.standard;
            const auto found = ownPaths.find(path);
            if (found == ownPaths.end()) return;
            own = found->second;
            length = path.size();
        });
    }
    if (own.empty()) return item;
    auto translation = FileURL::withPath(own + path.substr(length));
    return translation ? std::move(*translation) : item;
}

std::vector<FileURL> LinkedDirectories::translated(std::vector<FileURL> items) const {
    if (!isEmpty)
        for (FileURL& item : items)
            item = translated(std::move(item));
    return items;
}

std::vector<std::string> LinkedDirectories::shownAs(const std::string& own) const {
    if (isEmpty) return {};
    const std::lock_guard guard(lock);
    const auto found = shown.find(own);
    if (found == shown.end()) return {};
    return {found->second.begin(), found->second.end()};
}

} // namespace host_service
