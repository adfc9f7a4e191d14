// Directories that hosts show under another path than the sync path table has: behind a symbolic link, a bind
// mount, or another spelling of the way to a synced folder.
//
// A directory is such a one when it, or a folder above it, is the same directory (device and inode) as a sync
// root; above a link or a bind mount first the folders as they are spelled, then those of what it leads to.
// Paths at and below it are then translated to the root's own. Only directories that a host shows are looked
// at, never an item in them.
//
// Any thread may call, but for `ownPathOf`, which asks the disk and says so itself.
#pragma once

#include "extension/BadgeState.h"
#include "platform/FileSystem.h"
#include "platform/FileURL.h"

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace host_service {

// The sync roots by what they are.
using RootIdentities = std::map<platform::FileIdentity, std::string>;
// Asks the disk once for each root. What it does not answer in time is left out.
RootIdentities identitiesOf(const extension::WatchedPaths& roots, platform::FileSystem& fileSystem);
// The path of a directory by that of its root; empty when none of the roots is at or above it. Asks the disk
// once for each folder of the path.
std::string ownPathOf(const std::string& directory, const RootIdentities& roots,
                      platform::FileSystem& fileSystem);

class LinkedDirectories {
  public:
    // The directory, in standard form, is the one of that own path; empty: it is none of them. Whether that
    // is news.
    bool set(const std::string& directory, const std::string& own);

    // The item by its root's own path, or as it is.
    platform::FileURL translated(platform::FileURL item) const;
    std::vector<platform::FileURL> translated(std::vector<platform::FileURL> items) const;

    // The directories, as they are shown, that are the one of this own path.
    std::vector<std::string> shownAs(const std::string& own) const;

  private:
    mutable std::mutex lock;                                      // of both maps
    std::unordered_map<std::string, std::string> ownPaths;        // by the directory as it is shown
    std::unordered_map<std::string, std::set<std::string>> shown; // the other way round
    std::atomic<bool> isEmpty = true; // as it is for most people: nothing is looked up then
};

} // namespace host_service
