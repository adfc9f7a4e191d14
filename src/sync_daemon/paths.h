// Paths of the space and of this machine, as messages spell them.
//
// The plain form: a path starts with "/", has no empty, "." or ".." component and no trailing separator; "/"
// is the tree itself. Absolute local paths have the same form.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sync_daemon {

// Whether a plain path is the base or lies below it, by whole components.
bool isAtOrBelow(std::string_view path, std::string_view base);

// Whether a path can travel in messages: D-Bus strings and JSON text are UTF-8.
bool isText(std::string_view path);

// The path of an entry of a folder.
std::string remoteChild(std::string_view folder, std::string_view name);

// The plain form of a remote path as a message spells it. None for a relative path, for one that climbs with
// "..", and for one that is not UTF-8.
std::optional<std::string> plainPath(std::string_view remotePath);

// The spelling in which a local root goes into the table: what observers compare with the paths that a file
// manager shows. Links in it stay.
std::string plainLocalPath(std::string_view path);

// Where a path leads once the links above it are followed; it need not exist.
std::string realPath(std::string_view path);

} // namespace sync_daemon
