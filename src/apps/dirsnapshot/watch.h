// The subcommand that tells differences as they happen.
#pragma once

#include "apps/dirsnapshot/commands.h"

#include <string>

namespace dirsnapshot_tool {

// How the differences are known. The kernel tells of directories on this machine's own file systems, as many
// as it may watch; else everything is looked at again and again.
struct WatchOptions {
    Format format = Format::lines;
    Colouring colouring = Colouring::automatic;
    double interval = 5;      // seconds between looks
    bool looksAlways = false; // although the kernel would tell
};

// Until SIGINT or SIGTERM, which ends it as done. First, if `older` names a snapshot, what differs from that.
// Trouble when the directory is gone.
ExitCode watch(const std::string& directory, const Source& older, const WatchOptions& options);

} // namespace dirsnapshot_tool
