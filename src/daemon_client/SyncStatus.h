// The daemon's status as the extension reads it: the phase, and the files in flight.
#pragma once

#include "platform/Value.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace daemon_client {

// The phases that change a badge; the others (scanning, enqueueing, …) change nothing.
inline constexpr std::string_view syncStatusTransfer = "syncStatusTransfer";
inline constexpr std::string_view syncStatusCompleted = "syncStatusCompleted";

struct SyncStatus {
    std::string status; // empty: none

    // The keys of info["syncStatusUploading"]["paths"], in byte order: the absolute local paths of the
    // files in flight. A key that names no local file (relative, or longer than any path) is left out.
    std::vector<std::string> uploadingPaths;
};

// What has the wrong type counts as missing.
SyncStatus syncStatusOf(const platform::Dictionary& statusInfo);

} // namespace daemon_client
