// The way from a path of a tree, in plain form (sync_daemon/paths.h), to its place on this machine.
#pragma once

#include "sync_daemon/paths.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace sandbox {

using sync_daemon::isAtOrBelow;
using sync_daemon::isText;
using sync_daemon::plainLocalPath;
using sync_daemon::realPath;
using sync_daemon::remoteChild;

// A name beside a taken one: "a.txt" gives "a (2).txt". The number is at least 2.
std::string numberedName(const std::filesystem::path& name, int number);

// Where an item of a tree lies, or would lie. None when the path is not in plain form, and when something
// above the item is not a real folder: a link could lead out of the tree. The tree's own folder is given
// without links. It looks before anybody acts; whoever plants links meanwhile has the rights to do worse.
std::optional<std::filesystem::path> confinedPath(const std::filesystem::path& tree, std::string_view path);

// Makes a folder of the tree and those above it; false when something else has its place or one above it.
bool makeConfinedFolder(const std::filesystem::path& tree, std::string_view path);

} // namespace sandbox
