// Acts on the command messages that arrive as machine-wide notifications: their name is the command, their
// object a JSON text. A malformed one is logged and changes nothing.
#pragma once

#include "platform/DistributedNotificationCenter.h"
#include "platform/ProcessLog.h"
#include "platform/Queue.h"
#include "sync_daemon/SyncDaemon.h"

#include <vector>

namespace sync_daemon {

class Commands {
  public:
    // The commands run in the order of their arrival on `quick`, but for what waits for the space, to share
    // by e-mail, which runs on `space`.
    struct Queues {
        platform::Queue& quick;
        platform::Queue& space;
    };
    // Observes every command from now on. All must outlive this object, and the daemon and the log also the
    // queues' work.
    Commands(SyncDaemon& daemon, platform::DistributedNotificationCenter& center, const Queues& queues,
             platform::ProcessLog& log);

  private:
    std::vector<platform::Subscription> subscriptions;
};

} // namespace sync_daemon
