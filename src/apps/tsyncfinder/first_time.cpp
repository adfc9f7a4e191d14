#include "apps/tsyncfinder/first_time.h"

#include "apps/tsyncfinder/sync_service.h"
#include "apps/user_folders.h"

#include <filesystem>
#include <fstream>

namespace apps::tsyncfinder {

void tellOnceWhatIsMissing(platform::UserNotifier& notifier, platform::ProcessLog& log) {
    namespace fs = std::filesystem;
    const SyncService service = lookAtSyncService();
    if (service.status || service.hasOtherDaemon || (service.isInstalled && service.storage)) return;
    const fs::path told = userFolder("XDG_STATE_HOME", ".local/state") / "tsyncfinder/told-what-is-missing";
    std::error_code error;
    if (fs::exists(told, error)) return;
    fs::create_directories(told.parent_path(), error);
    // Who cannot write it down would tell it at each start.
    if (!std::ofstream(told)) {
        log.error("Cannot be written, so that nobody is told that no sync service is set up: ",
                  told.string());
        return;
    }
    notifier.notify({service.isInstalled
                         ? "Nothing is synced yet: the sync service has no storage. In a terminal: %@"
                         : "Nothing is synced yet: install the package tsyncquenz. Then, in a terminal: %@",
                     {"tsyncquenz setup"}},
                    platform::UserNotifier::News::failure);
}

} // namespace apps::tsyncfinder
