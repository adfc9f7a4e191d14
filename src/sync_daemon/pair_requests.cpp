#include "sync_daemon/request_tables.h"

#include <array>

namespace sync_daemon {
namespace {

using platform::Array;

platform::Reply exclusionReply(SyncDaemon::Exclusion exclusion) {
    return flagReply(exclusion.isExcluded, exclusion.isBase);
}

constexpr std::array entries{
    RequestEntry{"allPathsInSync:",
                 [](SyncDaemon& daemon, const Array&) { return valueReply(daemon.allPathsInSync()); }},
    RequestEntry{
        "syncPath:",
        [](SyncDaemon& daemon, const Array& arguments) { return done(daemon.syncPath(text(arguments, 0))); }},
    RequestEntry{"addSyncPath:withLocalSyncPath:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return done(daemon.startSync(text(arguments, 1), text(arguments, 0)));
                 }},
    RequestEntry{
        "removeSyncPath:",
        [](SyncDaemon& daemon, const Array& arguments) { return done(daemon.stopSync(text(arguments, 0))); }},
    RequestEntry{"excludeSyncPath:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return done(daemon.excludePath(text(arguments, 0)));
                 }},
    RequestEntry{"includeSyncPath:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return done(daemon.includePath(text(arguments, 0)));
                 }},
    RequestEntry{"isRemotePathExcluded:isBasePathOfExclusion:withReply:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return exclusionReply(daemon.exclusionOfRemote(text(arguments, 0)));
                 }},
    RequestEntry{"isLocalPathExcluded:isBasePathOfExclusion:withReply:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return exclusionReply(daemon.exclusionOfLocal(text(arguments, 0)));
                 }},
    RequestEntry{"localSnapshotChanged:NoRecursive:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return done(daemon.localSnapshotChanged(text(arguments, 0), flag(arguments, 1)));
                 }},
    RequestEntry{"pauseFSEventOnPath:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return done(daemon.setEventsPaused(text(arguments, 0), true));
                 }},
    RequestEntry{"resumeFSEventOnPath:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return done(daemon.setEventsPaused(text(arguments, 0), false));
                 }},
    RequestEntry{"pauseCacheFSEvent",
                 [](SyncDaemon& daemon, const Array&) { return done(daemon.setCacheEventsPaused(true)); }},
    RequestEntry{"resumeCacheFSEvent",
                 [](SyncDaemon& daemon, const Array&) { return done(daemon.setCacheEventsPaused(false)); }},
    RequestEntry{
        "pauseUploadingFSEvent",
        [](SyncDaemon& daemon, const Array&) { return done(daemon.setUploadingEventsPaused(true)); }},
    RequestEntry{
        "resumeUploadingFSEvent",
        [](SyncDaemon& daemon, const Array&) { return done(daemon.setUploadingEventsPaused(false)); }},
};

} // namespace

std::span<const RequestEntry> pairRequests() { return entries; }

} // namespace sync_daemon
