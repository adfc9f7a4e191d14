#include "sandbox/Requests.h"

#include <utility>

namespace sandbox {

Requests::Requests(sync_daemon::SyncDaemon& answeringDaemon, Faults wantedFaults,
                   platform::Queue& serialQueue, platform::Queue& queueOfSlowOnes,
                   platform::ProcessLog& processLog, std::function<void()> endProcess)
    : sync_daemon::Requests(answeringDaemon, {serialQueue, serialQueue, serialQueue, queueOfSlowOnes},
                            processLog),
      faults(std::move(wantedFaults)), die(std::move(endProcess)) {}

void Requests::answer(std::string_view message, const platform::Array& arguments,
                      platform::ReplyHandler handler) {
    if (faults.latency.count() == 0)
        return sync_daemon::Requests::answer(message, arguments, std::move(handler));
    lanes.quick.dispatchAfter(faults.latency,
                              [this, name = std::string(message), arguments, handler = std::move(handler)] {
                                  sync_daemon::Requests::answer(name, arguments, handler);
                              });
}

void Requests::perform(const std::string& message, const platform::Array& arguments,
                       const platform::ReplyHandler& handler) {
    if (faults.diesAfter && served >= *faults.diesAfter) {
        log.error("Dying as told, after ", served, " messages");
        die();
        return;
    }
    ++served;
    if (!faults.silent.contains(message)) return sync_daemon::Requests::perform(message, arguments, handler);
    sync_daemon::Requests::perform(message, arguments, [this, message](const platform::Reply&) {
        log.info("Not answering ", message, ", as told");
    });
}

} // namespace sandbox
