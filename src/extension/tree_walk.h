// Everything beneath a folder, as the file system shows it.
#pragma once

#include "platform/FileSystem.h"

#include <cstddef>
#include <functional>
#include <string>

namespace extension {

// The longest walk below a removed root: somebody may name the root of the whole disk.
inline constexpr std::size_t maximumItemsOfAWalk = 1'000'000;

// Calls visit(path) for each item beneath the folder until it returns false, for at most so many items,
// depth first, each folder before what is in it, in the order in which the folder lists them. Links to
// directories are followed; a directory reached through a link is entered once, so that a cycle of links ends
// and crossing links cost no more than one more visit of each directory. What cannot be read has no items.
// Asks the disk on the caller's thread.
void forEachItemBelow(platform::FileSystem& fileSystem, const std::string& folder,
                      const std::function<bool(std::string path)>& visit,
                      std::size_t most = maximumItemsOfAWalk);

} // namespace extension
