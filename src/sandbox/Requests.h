// The sandbox's end of the request protocol, which misbehaves where it is told to.
#pragma once

#include "sync_daemon/Requests.h"

#include <chrono>
#include <functional>
#include <optional>
#include <set>
#include <string>

namespace sandbox {

// Faults that show how a client copes with them.
struct Faults {
    std::chrono::milliseconds latency{0};      // before each message is acted on
    std::set<std::string, std::less<>> silent; // messages that are acted on and never answered
    std::optional<std::uint64_t> diesAfter;    // this many messages are served; the next one is the end
};

class Requests final : public sync_daemon::Requests {
  public:
    // Requests run one at a time on the queue, those that read the whole space on a second one. `endProcess`
    // ends the process as a crash would. All must outlive the service, and the queues' work with it.
    Requests(sync_daemon::SyncDaemon& answeringDaemon, Faults wantedFaults, platform::Queue& serialQueue,
             platform::Queue& queueOfSlowOnes, platform::ProcessLog& processLog,
             std::function<void()> endProcess);

    void answer(std::string_view message, const platform::Array& arguments,
                platform::ReplyHandler handler) override;

  private:
    void perform(const std::string& message, const platform::Array& arguments,
                 const platform::ReplyHandler& handler) override;

    const Faults faults;
    const std::function<void()> die;
    std::uint64_t served = 0; // on the queue only
};

} // namespace sandbox
