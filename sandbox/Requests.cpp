#include "sandbox/Requests.h"

#include <algorithm>
#include <array>
#include <utility>

namespace sandbox {
namespace {

using platform::Array;
using platform::Null;
using platform::Value;

// The string argument of that position, or "" where a sender left it out.
std::string_view text(const Array& arguments, std::size_t position) {
    const std::string* found = position < arguments.size() ? arguments[position].string() : nullptr;
    return found ? std::string_view(*found) : std::string_view();
}

Value listOf(const std::vector<std::string>& strings) { return Array(strings.begin(), strings.end()); }

// Each message that is served, and its reply. A message without one answers the null object.
struct Entry {
    std::string_view message;
    Value (*answer)(Daemon& daemon, const Array& arguments);
};

constexpr std::array entries{
    Entry{"allPathsInSync:", [](Daemon& daemon, const Array&) { return Value(daemon.allPathsInSync()); }},
    Entry{"getSyncStatus:", [](Daemon& daemon, const Array&) { return Value(daemon.syncStatus()); }},
    // One client takes its leave; the daemon goes on for the others.
    Entry{"close", [](Daemon&, const Array&) { return Value(Null{}); }},
    Entry{"pause",
          [](Daemon& daemon, const Array&) {
              daemon.setPaused(true);
              return Value(Null{});
          }},
    Entry{"resumeSync",
          [](Daemon& daemon, const Array&) {
              daemon.setPaused(false);
              return Value(Null{});
          }},
    Entry{"directoriesNotInSyncAtRemoteDirecory:withReply:",
          [](Daemon& daemon, const Array& arguments) {
              return listOf(daemon.directoriesNotInSync(text(arguments, 0)));
          }},
    Entry{"countDirectoriesAtPath:withReply:",
          [](Daemon& daemon, const Array& arguments) {
              return Value(daemon.countDirectories(text(arguments, 0)));
          }},
};

} // namespace

Requests::Requests(Daemon& answeringDaemon, Faults wantedFaults, platform::Queue& serialQueue,
                   platform::ProcessLog& processLog, std::function<void()> endProcess)
    : daemon(answeringDaemon), faults(std::move(wantedFaults)), queue(serialQueue), log(processLog),
      die(std::move(endProcess)) {}

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
    const auto entry = std::find_if(entries.begin(), entries.end(), [&message](const Entry& candidate) {
        return candidate.message == message;
    });
    platform::Reply reply;
    if (entry == entries.end()) {
        log.error("Request ", message, ": not served by this sandbox");
    } else {
        log.debug("Request ", message, " ", Value(arguments));
        reply.kind = platform::Reply::Kind::value;
        reply.value = entry->answer(daemon, arguments);
    }
    if (faults.silent.contains(message))
        log.info("Not answering ", message, ", as told");
    else
        handler(std::move(reply));
}

} // namespace sandbox
