#include "sandbox/request_tables.h"

#include <array>

namespace sandbox {
namespace {

using platform::Array;
using platform::Value;

std::vector<std::string> texts(const Array& arguments, std::size_t position) {
    const Array* items = position < arguments.size() ? arguments[position].array() : nullptr;
    return items ? platform::textsIn(*items) : std::vector<std::string>();
}

constexpr std::array entries{
    RequestEntry{"contentOfDirectoryAtPath:onlyFile:recoursive:withReply:",
                 [](Daemon& daemon, const Array& arguments) {
                     return valueOrNone(daemon.contentOfDirectory(text(arguments, 0), flag(arguments, 1),
                                                                  flag(arguments, 2)));
                 },
                 true},
    RequestEntry{"directoriesAtPath:withReply:",
                 [](Daemon& daemon, const Array& arguments) {
                     return listReply(daemon.directories(text(arguments, 0)));
                 }},
    RequestEntry{"directoriesNotInSyncAtRemoteDirecory:withReply:",
                 [](Daemon& daemon, const Array& arguments) {
                     return listReply(daemon.directoriesNotInSync(text(arguments, 0)));
                 }},
    RequestEntry{"countDirectoriesAtPath:withReply:",
                 [](Daemon& daemon, const Array& arguments) {
                     return valueReply(daemon.countDirectories(text(arguments, 0)));
                 }},
    RequestEntry{"remoteFileInfo:withReply:",
                 [](Daemon& daemon, const Array& arguments) {
                     return valueOrNone(daemon.fileInfo(text(arguments, 0)));
                 }},
    RequestEntry{"linkForSharingFile:isDirectory:withReply:",
                 [](Daemon& daemon, const Array& arguments) {
                     return valueOrNone(daemon.linkForSharing(text(arguments, 0), flag(arguments, 1)));
                 }},
    RequestEntry{"sendSharingFileByEmail:isDirectory:atEmail:withReply:",
                 [](Daemon& daemon, const Array& arguments) {
                     return valueReply(
                         daemon.shareByEmail(text(arguments, 0), flag(arguments, 1), texts(arguments, 2)));
                 }},
    RequestEntry{"deleteFile:trash:",
                 [](Daemon& daemon, const Array& arguments) {
                     return done(daemon.deleteFile(text(arguments, 0), flag(arguments, 1)));
                 }},
    RequestEntry{"renameFile:toNewFilepath:",
                 [](Daemon& daemon, const Array& arguments) {
                     return done(daemon.renameFile(text(arguments, 0), text(arguments, 1)));
                 }},
    RequestEntry{
        "restoreFile:",
        [](Daemon& daemon, const Array& arguments) { return done(daemon.restoreFile(text(arguments, 0))); }},
    RequestEntry{"downloadFile:toDirectory:",
                 [](Daemon& daemon, const Array& arguments) {
                     return done(daemon.downloadFile(text(arguments, 0), text(arguments, 1)));
                 }},
    // A folder has no operation options: every copy is laid into the cache at once.
    RequestEntry{
        "cacheFile:withOperationOptions:",
        [](Daemon& daemon, const Array& arguments) { return done(daemon.cacheFile(text(arguments, 0))); }},
    RequestEntry{"copyLocalFile:toRemoteDestination:",
                 [](Daemon& daemon, const Array& arguments) {
                     return done(daemon.copyToSpace(text(arguments, 0), text(arguments, 1)));
                 }},
    RequestEntry{"moveLocalFile:toRemoteDestination:",
                 [](Daemon& daemon, const Array& arguments) {
                     return done(daemon.moveToSpace(text(arguments, 0), text(arguments, 1)));
                 }},
    RequestEntry{"uploadingDir",
                 [](Daemon& daemon, const Array&) { return valueReply(daemon.uploadingFolder()); }},
    RequestEntry{"uploadingDir:",
                 [](Daemon& daemon, const Array&) { return valueReply(daemon.uploadingFolder()); }},
    RequestEntry{"cacheDir", [](Daemon& daemon, const Array&) { return valueReply(daemon.cacheFolder()); }},
    RequestEntry{"cacheDir:", [](Daemon& daemon, const Array&) { return valueReply(daemon.cacheFolder()); }},
    RequestEntry{"remoteSnapshot:",
                 [](Daemon& daemon, const Array&) { return valueOrNone(daemon.remoteSnapshot()); }, true},
};

} // namespace

std::span<const RequestEntry> itemRequests() { return entries; }

} // namespace sandbox
