#include "sync_daemon/request_tables.h"

#include <array>

namespace sync_daemon {
namespace {

using platform::Array;

constexpr std::array entries{
    // One client takes its leave; the daemon goes on for the others.
    RequestEntry{"close", [](SyncDaemon&, const Array&) { return done(); }},
    // A folder needs no password: it is neither kept nor looked at.
    RequestEntry{"setPasswd:", [](SyncDaemon&, const Array&) { return done(); }},
    RequestEntry{"pause",
                 [](SyncDaemon& daemon, const Array&) {
                     daemon.setPaused(true);
                     return done();
                 }},
    RequestEntry{"resumeSync",
                 [](SyncDaemon& daemon, const Array&) {
                     daemon.setPaused(false);
                     return done();
                 }},
    RequestEntry{"getSyncStatus:",
                 [](SyncDaemon& daemon, const Array&) { return valueReply(daemon.syncStatus()); }},
    RequestEntry{"pendingOperationOnPath:withReply:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return flagReply(daemon.isPendingLocally(text(arguments, 0)));
                 }},
    RequestEntry{"pendingOperationOnRemotePath:withReply:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return flagReply(daemon.isPendingRemotely(text(arguments, 0)));
                 }},
    RequestEntry{"allPendingOperations:",
                 [](SyncDaemon& daemon, const Array&) { return valueReply(daemon.pendingOperations()); }},
};

} // namespace

std::span<const RequestEntry> statusRequests() { return entries; }

} // namespace sync_daemon
