// A daemon's end of the request protocol: answers every message from the daemon. A request that needs nothing
// but the daemon's own state never waits for one that asks the space.
//
// A request that is refused answers none, false or an empty list; one without a reply value ends as a failed
// call for the caller that waits for its end. The log says why.
#pragma once

#include "platform/ProcessLog.h"
#include "platform/Queue.h"
#include "platform/RequestService.h"
#include "sync_daemon/SyncDaemon.h"

#include <atomic>
#include <string>

namespace sync_daemon {

// Where the requests of each lane run, one at a time each; lanes may share a queue.
struct Lanes {
    platform::Queue& quick;
    platform::Queue& folders;
    platform::Queue& changes;
    platform::Queue& slow;
};

class Requests : public platform::RequestService {
  public:
    // All must outlive the service, and the queues' work with it.
    Requests(SyncDaemon& answeringDaemon, Lanes queues, platform::ProcessLog& processLog);

    void answer(std::string_view message, const platform::Array& arguments,
                platform::ReplyHandler handler) override;

    // Leaves what waits, and what still comes, without an answer. Once this has returned no handler runs.
    // Not to be called on a queue.
    void stop();

  protected:
    // On the quick lane: has the daemon act, there or on the message's own lane.
    virtual void perform(const std::string& message, const platform::Array& arguments,
                         const platform::ReplyHandler& handler);

    const Lanes lanes;
    platform::ProcessLog& log;

  private:
    SyncDaemon& daemon;
    std::atomic<bool> stopped = false;
};

} // namespace sync_daemon
