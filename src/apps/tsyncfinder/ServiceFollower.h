// Asks the sync service of itself whenever something may have changed, and passes on what it tells: the entry
// in the file managers' sidebar, and what cannot be synced now. At most once a second, and never while
// nothing happens. Another daemon tells nothing of that kind, but what its sync status says.
#pragma once

#include "daemon_client/TSyncClient.h"
#include "extension/FinderSync.h"
#include "platform/Presence.h"
#include "platform/Queue.h"
#include "platform/Sidebar.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace apps::tsyncfinder {

class ServiceFollower {
  public:
    struct Surroundings {
        const extension::FinderSync& finderSync;
        daemon_client::TSyncClient& client;
        platform::Queue& queue; // waits for the answers
        std::function<platform::Presence()> daemonPresence;
        std::function<void(std::vector<std::string> paths)> problems; // local paths; on the queue
    };
    // All outlive the object.
    explicit ServiceFollower(const Surroundings& surroundings);

    // Whether the person wants the sidebar's entry.
    void showSidebar(bool isShown);
    // Something may have changed.
    void changed();

  private:
    void setPaused(bool pause);
    void look();

    const Surroundings around;
    std::unique_ptr<platform::Sidebar> sidebar; // null: this build has none

    std::mutex lock; // of all that follows
    bool isSidebarWanted = false;
    bool isLooking = false;  // a look is under way, or the rest after one
    bool isOutdated = false; // and something has changed since it began
};

} // namespace apps::tsyncfinder
