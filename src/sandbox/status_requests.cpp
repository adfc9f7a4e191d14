#include "sandbox/request_tables.h"

#include <array>

namespace sandbox {
namespace {

using platform::Array;

constexpr std::array entries{
    // One client takes its leave; the daemon goes on for the others.
    RequestEntry{"close", [](Daemon&, const Array&) { return done(); }},
    // A folder needs no password: it is neither kept nor looked at.
    RequestEntry{"setPasswd:", [](Daemon&, const Array&) { return done(); }},
    RequestEntry{"pause",
                 [](Daemon& daemon, const Array&) {
                     daemon.setPaused(true);
                     return done();
                 }},
    RequestEntry{"resumeSync",
                 [](Daemon& daemon, const Array&) {
                     daemon.setPaused(false);
                     return done();
                 }},
    RequestEntry{"getSyncStatus:",
                 [](Daemon& daemon, const Array&) { return valueReply(daemon.syncStatus()); }},
    RequestEntry{"pendingOperationOnPath:withReply:",
                 [](Daemon& daemon, const Array& arguments) {
                     return flagReply(daemon.isPendingLocally(text(arguments, 0)));
                 }},
    RequestEntry{"pendingOperationOnRemotePath:withReply:",
                 [](Daemon& daemon, const Array& arguments) {
                     return flagReply(daemon.isPendingRemotely(text(arguments, 0)));
                 }},
    RequestEntry{"allPendingOperations:",
                 [](Daemon& daemon, const Array&) { return valueReply(daemon.pendingOperations()); }},
};

} // namespace

std::span<const RequestEntry> statusRequests() { return entries; }

} // namespace sandbox
