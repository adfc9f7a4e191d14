// The sync service as the extension's own commands see it: is it installed, set up, running. Looking starts
// nothing.
#pragma once

#include "platform/Value.h"

#include <optional>
#include <string>

namespace apps::tsyncfinder {

struct SyncService {
    bool isInstalled = false;
    std::optional<std::string> storage;         // that is set up
    std::optional<platform::Dictionary> status; // what the service that runs tells of itself
    bool hasOtherDaemon = false; // something has its name and tells nothing of that kind, or hangs
    std::string advice;          // the one thing to do next; empty: nothing
};

// Takes up to two seconds when a daemon hangs.
SyncService lookAtSyncService();

} // namespace apps::tsyncfinder
