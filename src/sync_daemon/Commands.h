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
    // Observes every command from now on. The commands run on the queue, in the order of arrival. All must
    // outlive this object, and the daemon and the log also the queue's work.
    Commands(SyncDaemon& daemon, platform::DistributedNotificationCenter& center, platform::Queue& queue,
             platform::ProcessLog& log);

  private:
    std::vector<platform::Subscription> subscriptions;
};

} // namespace sync_daemon
