// The sandbox's end of the request protocol: answers each message from the daemon, one at a time on its
// queue, and misbehaves where it is told to.
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
    // `endProcess` ends the process as a crash would. All must outlive the service, and the queue's work with
    // it.
    Requests(Daemon& answeringDaemon, Faults wantedFaults, platform::Queue& serialQueue,
             platform::ProcessLog& processLog, std::function<void()> endProcess);

    void answer(std::string_view message, const platform::Array& arguments,
                platform::ReplyHandler handler) override;

    // Leaves what waits, and what still comes, without an answer. Once this has returned no handler runs.
    // Not to be called on the queue.
    void stop();

  private:
    void perform(const std::string& message, const platform::Array& arguments,
                 const platform::ReplyHandler& handler);

    Daemon& daemon;
    const Faults faults;
    platform::Queue& queue;
    platform::ProcessLog& log;
    const std::function<void()> die;
    std::uint64_t served = 0; // on the queue only
    std::atomic<bool> stopped = false;
};

} // namespace sandbox
