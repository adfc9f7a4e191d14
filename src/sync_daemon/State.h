// What a sync daemon remembers from one run to the next: its pairs, what is excluded, and whether it is
// paused. A plain value; whoever shares it guards it.
//
// On disk it is one JSON object: {"version":1,"paused":false,"pairs":{REMOTE:LOCAL},"excluded":[REMOTE]}.
#pragma once

#include "platform/ProcessLog.h"

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace sync_daemon {

struct State {
    std::map<std::string, std::string, std::less<>> pairs; // remote root (plain) -> local root (absolute)
    std::set<std::string, std::less<>> excluded;           // remote paths (plain), each with what lies below
    bool paused = false;

    // Whether the path or a folder above it is excluded; plain.
    bool isExcluded(std::string_view remotePath) const;

    // Whether the path is a remote root or lies beneath one; plain.
    bool isInSync(std::string_view remotePath) const;
};

// A missing file is the empty state. Paths in another form are left out. One that cannot be understood, in
// whole or in part, is kept beside as "….unreadable", and the log says so.
State loadState(const std::filesystem::path& file, platform::ProcessLog& log);

// Replaces the file at once or not at all: written beside and renamed. False, and a log line, on failure.
bool saveState(const State& state, const std::filesystem::path& file, platform::ProcessLog& log);

} // namespace sync_daemon
