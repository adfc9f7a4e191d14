#include "sync_daemon/Requests.h"

#include "sync_daemon/request_tables.h"

#include <utility>

namespace sync_daemon {
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

Requests::Requests(SyncDaemon& answeringDaemon, Lanes queues, platform::ProcessLog& processLog)
    : lanes(queues), log(processLog), daemon(answeringDaemon) {}

void Requests::answer(std::string_view message, const Array& arguments, platform::ReplyHandler handler) {
    lanes.quick.dispatch([this, name = std::string(message), arguments, handler = std::move(handler)] {
        if (!stopped) perform(name, arguments, handler);
    });
}

void Requests::stop() {
    stopped = true;
    for (platform::Queue* queue : {&lanes.quick, &lanes.folders, &lanes.changes, &lanes.slow})
        queue->dispatchAndWait([] {}); // behind the one that may be running
}

void Requests::perform(const std::string& message, const Array& arguments,
                       const platform::ReplyHandler& handler) {
    const RequestEntry* entry = entryFor(message);
    if (!entry) {
        log.error("Request ", message, ": not a message of the protocol");
        return handler({});
    }
    // A password is nobody's business.
    log.debug("Request ", message, " ", message == "setPasswd:" ? Value("…") : Value(arguments));
    auto answer = [this, entry, arguments, handler] {
        if (stopped) return;
        platform::Reply reply = entry->answer(daemon, arguments);
        if (!stopped) handler(std::move(reply));
    };
    platform::Queue& queue = entry->lane == Lane::folders   ? lanes.folders
                             : entry->lane == Lane::changes ? lanes.changes
                             : entry->lane == Lane::slow    ? lanes.slow
                                                            : lanes.quick;
    if (&queue == &lanes.quick)
        answer();
    else
        queue.dispatch(std::move(answer));
}

} // namespace sync_daemon
