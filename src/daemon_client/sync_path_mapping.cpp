#include "daemon_client/sync_path_mapping.h"

#include "paths/path_strings.h"

#include <vector>

namespace daemon_client {
namespace {

std::string rebased(std::string_view root, std::string_view below) {
    std::vector<std::string> components;
    paths::forEachPathComponent(below,
                                [&](std::string_view component) { components.emplace_back(component); });
    return paths::stringByAppendingPathComponents(root, components);
}

LocalRoots localRootsOf(const SyncPathTable& table) {
    LocalRoots roots;
    roots.reserve(table.size());
    for (const auto& [remote, local] : table)
        roots.insert(local);
    return roots;
}

} // namespace

SyncPaths::SyncPaths(SyncPathTable paths) : table(std::move(paths)), localRoots(localRootsOf(table)) {}

bool isPathInSync(const SyncPaths* paths, std::string_view path, bool& isBasePathOfSync) {
    isBasePathOfSync = true;
    while (!paths::isRootPath(path)) {
        if (paths != nullptr && paths->localRoots.contains(path)) return true;
        isBasePathOfSync = false;
        path = paths::parentPath(path);
    }
    return false;
}

std::optional<std::string> remotePathOfLocalSyncPath(const SyncPathTable& table, std::string_view path) {
    const std::string* remoteRoot = nullptr;
    std::size_t nearest = 0;
    std::string standardised;
    for (const auto& [remote, local] : table) {
        std::string_view root = local;
        if (!paths::isStandardForm(root)) root = standardised = paths::standardisedPath(root);
        if (paths::isRootPath(root)) continue;
        const std::optional<std::size_t> length = paths::lengthOfNearestMatch(path, root);
        if (length && *length > nearest) {
            nearest = *length;
            remoteRoot = &remote;
        }
    }
    if (!remoteRoot) return std::nullopt;
    return rebased(*remoteRoot, path.substr(nearest));
}

std::optional<std::string> localSyncPathOfRemotePath(const SyncPathTable& table, std::string_view path) {
    const std::string standard = paths::standardisedPath(path);
    std::string root = standard;
    while (!paths::isRootPath(root)) {
        if (const auto entry = table.find(root); entry != table.end())
            return rebased(entry->second, std::string_view(standard).substr(root.size()));
        root.resize(paths::parentPath(root).size());
    }
    return std::nullopt;
}

} // namespace daemon_client
