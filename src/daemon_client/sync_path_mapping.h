// The lookups on a sync path table that need no daemon: is a local path synced, and which remote path and
// local path belong together.
//
// No locks and no state: an owner of a table copies it under its own lock and looks up in the copy. An empty
// path or table stands for none: each lookup answers false or none to it.
#pragma once

#include "daemon_client/SyncPathTable.h"

#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

namespace daemon_client {

struct PathHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view path) const { return std::hash<std::string_view>()(path); }
};

// The local roots of a table, for many lookups in the same table.
using LocalRoots = std::unordered_set<std::string, PathHash, std::equal_to<>>;

// A table that no longer changes, with its local roots, made once for many lookups.
struct SyncPaths {
    explicit SyncPaths(SyncPathTable table);
    const SyncPathTable table;
    const LocalRoots localRoots;
};

// Whether the path is a local root (base flag true) or lies below one (false). By the strings as they are
// written: "/a/b/" is not the root "/a/b". For a path outside every root the flag becomes false; for "/" and
// "", which are never in sync, it becomes true. Costs one hashed lookup a level. Without a list of paths
// nothing is in sync.
bool isPathInSync(const SyncPaths* paths, std::string_view path, bool& isBasePathOfSync);

// The remote path of a local path: the remote root of the nearest enclosing local root (compared in standard
// form; of several entries with the same local root, the first in the table) and below it the components as
// written. None outside every root; the local roots "/" and "" enclose nothing. One pass over the table, each
// entry compared once with the path.
std::optional<std::string> remotePathOfLocalSyncPath(const SyncPathTable& table, std::string_view path);

// The local path of a remote path, which is standardised first; the remote roots are taken as written. None
// outside every root and for the remote root "/". One lookup a level.
std::optional<std::string> localSyncPathOfRemotePath(const SyncPathTable& table, std::string_view path);

} // namespace daemon_client
