// Small files that must be on the disk when it is said that they are.
#pragma once

#include <filesystem>
#include <string_view>

namespace sync_daemon {

// Replaces a file's content, and returns when it is on the disk. False, with errno, when it is not; half of
// it may be there then.
bool writeToDisk(const std::filesystem::path& path, std::string_view text);

} // namespace sync_daemon
