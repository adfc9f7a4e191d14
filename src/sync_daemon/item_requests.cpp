#include "sync_daemon/request_tables.h"

#include <array>

namespace sync_daemon {
namespace {

using platform::Array;

std::vector<std::string> texts(const Array& arguments, std::size_t position) {
    const Array* items = position < arguments.size() ? arguments[position].array() : nullptr;
    return items ? platform::textsIn(*items) : std::vector<std::string>();
}

constexpr std::array entries{
    RequestEntry{"contentOfDirectoryAtPath:onlyFile:recoursive:withReply:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return valueOrNone(daemon.contentOfDirectory(text(arguments, 0), flag(arguments, 1),
                                                                  flag(arguments, 2)));
                 },
                 Lane::slow},
    RequestEntry{"directoriesAtPath:withReply:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return listReply(daemon.directories(text(arguments, 0)));
                 },
                 Lane::folders},
    RequestEntry{"directoriesNotInSyncAtRemoteDirecory:withReply:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return listReply(daemon.directoriesNotInSync(text(arguments, 0)));
                 },
                 Lane::folders},
    RequestEntry{"countDirectoriesAtPath:withReply:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return valueReply(std::uint64_t{daemon.directories(text(arguments, 0)).size()});
                 },
                 Lane::folders},
    RequestEntry{"remoteFileInfo:withReply:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return valueOrNone(daemon.fileInfo(text(arguments, 0)));
                 },
                 Lane::changes},
    RequestEntry{"linkForSharingFile:isDirectory:withReply:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return valueOrNone(daemon.linkForSharing(text(arguments, 0), flag(arguments, 1)));
                 },
                 Lane::changes},
    RequestEntry{"sendSharingFileByEmail:isDirectory:atEmail:withReply:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return valueReply(
                         daemon.shareByEmail(text(arguments, 0), flag(arguments, 1), texts(arguments, 2)));
                 },
                 Lane::changes},
    RequestEntry{"deleteFile:trash:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return done(daemon.deleteFile(text(arguments, 0), flag(arguments, 1)));
                 },
                 Lane::changes},
    RequestEntry{"renameFile:toNewFilepath:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return done(daemon.renameFile(text(arguments, 0), text(arguments, 1)));
                 },
                 Lane::changes},
    RequestEntry{"restoreFile:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return done(daemon.restoreFile(text(arguments, 0)));
                 },
                 Lane::changes},
    RequestEntry{"downloadFile:toDirectory:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return done(daemon.downloadFile(text(arguments, 0), text(arguments, 1)));
                 },
                 Lane::changes},
    // A folder has no operation options: every copy is laid into the cache at once.
    RequestEntry{
        "cacheFile:withOperationOptions:",
        [](SyncDaemon& daemon, const Array& arguments) { return done(daemon.cacheFile(text(arguments, 0))); },
        Lane::changes},
    RequestEntry{"copyLocalFile:toRemoteDestination:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return done(daemon.copyToSpace(text(arguments, 0), text(arguments, 1)));
                 }},
    RequestEntry{"moveLocalFile:toRemoteDestination:",
                 [](SyncDaemon& daemon, const Array& arguments) {
                     return done(daemon.moveToSpace(text(arguments, 0), text(arguments, 1)));
                 }},
    RequestEntry{"uploadingDir",
                 [](SyncDaemon& daemon, const Array&) { return valueOrNone(daemon.uploadingFolder()); }},
    RequestEntry{"uploadingDir:",
                 [](SyncDaemon& daemon, const Array&) { return valueOrNone(daemon.uploadingFolder()); }},
    RequestEntry{"cacheDir",
                 [](SyncDaemon& daemon, const Array&) { return valueOrNone(daemon.cacheFolder()); }},
    RequestEntry{"cacheDir:",
                 [](SyncDaemon& daemon, const Array&) { return valueOrNone(daemon.cacheFolder()); }},
    RequestEntry{"remoteSnapshot:",
                 [](SyncDaemon& daemon, const Array&) { return valueOrNone(daemon.remoteSnapshot()); },
                 Lane::slow},
};

} // namespace

std::span<const RequestEntry> itemRequests() { return entries; }

} // namespace sync_daemon
