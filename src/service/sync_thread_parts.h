// What a round of a pair needs while its folder is there. Private to the sources of SyncThread.
#pragma once

#include "service/LocalSide.h"
#include "service/PairStore.h"
#include "service/PairSync.h"
#include "service/SyncThread.h"
#include "service/WatchedSpace.h"

#include <string>

namespace service {

struct SyncThread::Parts {
    Parts(SyncThread& owner, const std::string& remoteFolder);
    static PairSync::Settings settingsOf(SyncThread& owner, const std::string& remoteFolder);

    WatchedSpace space;
    LocalSide local;
    PairStore store;
    PairSync sync;
    std::string identity; // of the folder that `local` holds open
};

} // namespace service
