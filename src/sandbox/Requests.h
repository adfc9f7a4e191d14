// The sandbox's end of the request protocol: answers every message from the daemon, one at a time on its
// queue and those that read the whole space on a second one, and misbehaves where it is told to.
//
// A request that is refused answers none, false or an empty list; one without a reply value ends as a failed
// call for the caller that waits for its end. The log says why.
#pragma once

#include "platform/ProcessLog.h"
#include "platform/Queue.h"
#include "platform/RequestService.h"
#include "sandbox/Daemon.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <set>
#include <string>

namespace sandbox {

// Faults to see how a client bears them.
struct Faults {
    std::chrono::milliseconds latency{0};      // before each message is acted on
    std::set<std::string, std::less<>> silent; // messages that are acted on and never answered
    std::optional<std::uint64_t> diesAfter;    // this many messages are served; the next one is the end
};

class Requests final : public platform::RequestService {
  public:
    // `endProcess` ends the process as a crash would. All must outlive the service, and the queues' work
    // with it.
    Requests(Daemon& answeringDaemon, Faults wantedFaults, platform::Queue& serialQueue,
             platform::Queue& queueOfSlowOnes, platform::ProcessLog& processLog,
             std::function<void()> endProcess);

    void answer(std::string_view message, const platform::Array& arguments,
                platform::ReplyHandler handler) override;

    // Leaves what waits, and what still comes, without an answer. Once this has returned no handler runs.
    // Not to be called on a queue.
    void stop();

  private:
    void perform(const std::string& message, const platform::Array& arguments,
                 const platform::ReplyHandler& handler);

    Daemon& daemon;
    const Faults faults;
    platform::Queue& queue;
    platform::Queue& slowQueue;
    platform::ProcessLog& log;
    const std::function<void()> die;
    std::uint64_t served = 0; // on the queue only
    std::atomic<bool> stopped = false;
};

} // namespace sandbox
