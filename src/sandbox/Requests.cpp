#include "sandbox/Requests.h"

#include "sandbox/request_tables.h"

#include <utility>

namespace sandbox {
namespace {

using platform::Array;
using platform::Value;

const RequestEntry* entryFor(std::string_view message) {
    for (const auto table : {statusRequests(), pairRequests(), itemRequests()})
        for (const RequestEntry& entry : table)
            if (entry.message == message) return &entry;
    return nullptr;
}

} // namespace

platform::Reply valueReply(Value value) {
    return {platform::Reply::Kind::value, std::move(value), std::nullopt};
}

platform::Reply listReply(const std::vector<std::string>& strings) {
    return valueReply(Array(strings.begin(), strings.end()));
}

platform::Reply flagReply(bool answer, std::optional<bool> baseFlag) {
    platform::Reply reply = valueReply(answer);
    reply.baseFlag = baseFlag;
    return reply;
}

platform::Reply done(bool isDone) {
    return isDone ? platform::Reply{platform::Reply::Kind::value, {}, std::nullopt} : platform::Reply();
}

Requests::Requests(Daemon& answeringDaemon, Faults wantedFaults, platform::Queue& serialQueue,
                   platform::Queue& queueOfSlowOnes, platform::ProcessLog& processLog,
                   std::function<void()> endProcess)
    : daemon(answeringDaemon), faults(std::move(wantedFaults)), queue(serialQueue),
      slowQueue(queueOfSlowOnes), log(processLog), die(std::move(endProcess)) {}

void Requests::answer(std::string_view message, const Array& arguments, platform::ReplyHandler handler) {
    auto work = [this, name = std::string(message), arguments, handler = std::move(handler)] {
        perform(name, arguments, handler);
    };
    if (faults.latency.count() > 0)
        queue.dispatchAfter(faults.latency, std::move(work));
    else
        queue.dispatch(std::move(work));
}

void Requests::stop() {
    stopped = true;
    queue.dispatchAndWait([] {}); // behind the one that may be running
    slowQueue.dispatchAndWait([] {});
}

void Requests::perform(const std::string& message, const Array& arguments,
                       const platform::ReplyHandler& handler) {
    if (stopped) return;
    if (faults.diesAfter && served >= *faults.diesAfter) {
        log.error("Dying as told, after ", served, " messages");
        die();
        return;
    }
    ++served;
    const RequestEntry* entry = entryFor(message);
    if (!entry) {
        log.error("Request ", message, ": no message of the protocol");
        return handler({});
    }
    // A password is nobody's business.
    log.debug("Request ", message, " ", message == "setPasswd:" ? Value("…") : Value(arguments));
    auto answer = [this, entry, arguments, handler] {
        platform::Reply reply = entry->answer(daemon, arguments);
        if (faults.silent.contains(entry->message))
            log.info("Not answering ", entry->message, ", as told");
        else if (!stopped)
            handler(std::move(reply));
    };
    if (entry->isSlow)
        slowQueue.dispatch(std::move(answer));
    else
        answer();
}

} // namespace sandbox
