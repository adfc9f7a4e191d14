#include "sandbox/request_tables.h"

#include <array>

namespace sandbox {
namespace {

using platform::Array;

platform::Reply exclusionReply(Daemon::Exclusion exclusion) {
    return flagReply(exclusion.isExcluded, exclusion.isBase);
}

constexpr std::array entries{
    RequestEntry{"allPathsInSync:",
                 [](Daemon& daemon, const Array&) { return valueReply(daemon.allPathsInSync()); }},
    RequestEntry{
        "syncPath:",
        [](Daemon& daemon, const Array& arguments) { return done(daemon.syncPath(text(arguments, 0))); }},
    RequestEntry{"addSyncPath:withLocalSyncPath:",
                 [](Daemon& daemon, const Array& arguments) {
                     return done(daemon.startSync(text(arguments, 1), text(arguments, 0)));
                 }},
    RequestEntry{
        "removeSyncPath:",
        [](Daemon& daemon, const Array& arguments) { return done(daemon.stopSync(text(arguments, 0))); }},
    RequestEntry{
        "excludeSyncPath:",
        [](Daemon& daemon, const Array& arguments) { return done(daemon.excludePath(text(arguments, 0))); }},
    RequestEntry{
        "includeSyncPath:",
        [](Daemon& daemon, const Array& arguments) { return done(daemon.includePath(text(arguments, 0))); }},
    RequestEntry{"isRemotePathExcluded:isBasePathOfExclusion:withReply:",
                 [](Daemon& daemon, const Array& arguments) {
                     return exclusionReply(daemon.exclusionOfRemote(text(arguments, 0)));
                 }},
    RequestEntry{"isLocalPathExcluded:isBasePathOfExclusion:withReply:",
                 [](Daemon& daemon, const Array& arguments) {
                     return exclusionReply(daemon.exclusionOfLocal(text(arguments, 0)));
                 }},
    RequestEntry{"localSnapshotChanged:NoRecursive:",
                 [](Daemon& daemon, const Array& arguments) {
                     return done(daemon.localSnapshotChanged(text(arguments, 0), flag(arguments, 1)));
                 }},
    RequestEntry{"pauseFSEventOnPath:",
                 [](Daemon& daemon, const Array& arguments) {
                     return done(daemon.setEventsPaused(text(arguments, 0), true));
                 }},
    RequestEntry{"resumeFSEventOnPath:",
                 [](Daemon& daemon, const Array& arguments) {
                     return done(daemon.setEventsPaused(text(arguments, 0), false));
                 }},
    RequestEntry{"pauseCacheFSEvent",
                 [](Daemon& daemon, const Array&) {
                     daemon.setCacheEventsPaused(true);
                     return done();
                 }},
    RequestEntry{"resumeCacheFSEvent",
                 [](Daemon& daemon, const Array&) {
                     daemon.setCacheEventsPaused(false);
                     return done();
                 }},
    RequestEntry{"pauseUploadingFSEvent",
                 [](Daemon& daemon, const Array&) {
                     daemon.setUploadingEventsPaused(true);
                     return done();
                 }},
    RequestEntry{"resumeUploadingFSEvent",
                 [](Daemon& daemon, const Array&) {
                     daemon.setUploadingEventsPaused(false);
                     return done();
                 }},
};

} // namespace

std::span<const RequestEntry> pairRequests() { return entries; }

} // namespace sandbox
