// The subcommand that tells differences as they happen.
#pragma once

#include "apps/dirsnapshot/commands.h"

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace dirsnapshot_tool {

// How the differences are known. The kernel tells of directories on this machine's own file systems, as many
// as it may watch; else everything is looked at again and again.
struct WatchOptions {
    Format format = Format::lines;
    Colouring colouring = Colouring::automatic;
    double interval = 5;                 // seconds between looks
    bool looksAlways = false;            // although the kernel would tell
    std::vector<std::string> exclusions; // absolute paths and names
    std::vector<std::string> ignored;    // names of fields
};

void addWatchOptions(CLI::App* watching, WatchOptions& options);

// Until SIGINT or SIGTERM, which ends it as done. First, if `older` names a snapshot, what differs from that.
// Trouble when the directory is gone, or a look at it had no answer in the time that looking.h says.
ExitCode watch(const std::string& directory, const Source& older, const WatchOptions& options);

} // namespace dirsnapshot_tool
