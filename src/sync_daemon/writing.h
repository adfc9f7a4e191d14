// Small files that must be on the disk when it is said that they are.
#pragma once

#include <filesystem>
#include <string_view>

namespace sync_daemon {

// Replaces a file's content, and returns when it is on the disk. False, with errno, when it is not; half of
// it may be there then.
bool writeToDisk(const std::filesystem::path& path, std::string_view text);

// Puts a file with that content in the place of the one at the path, by way of the path with ".new" behind
// it: whenever this process or the machine ends, a reader finds the old content or the new one. False, with
// errno, when the old one stays. Of two at a time for one path the caller lets one wait.
bool replaceOnDisk(const std::filesystem::path& path, std::string_view text);

} // namespace sync_daemon
