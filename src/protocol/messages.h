// The messages of the daemon's request protocol, as both ends need them: the wire form of each and how
// long a caller waits for its reply. The introspection XML of the interface is the authority; a test holds
// this table against it.
#pragma once

#include <array>
#include <chrono>
#include <string_view>

namespace protocol {

struct Message {
    std::string_view name;      // as the protocol spells it, with its colons
    std::string_view member;    // the method on the bus: each ":" written "_"
    std::string_view arguments; // signature of the arguments
    std::string_view reply;     // signature of the reply; empty: there is none
};

inline constexpr std::array messages{
    Message{"close", "close", "", ""},
    Message{"setPasswd:", "setPasswd_", "s", ""},
    Message{"syncPath:", "syncPath_", "s", ""},
    Message{"cacheFile:withOperationOptions:", "cacheFile_withOperationOptions_", "sa{sv}", ""},
    Message{"deleteFile:trash:", "deleteFile_trash_", "sb", ""},
    Message{"renameFile:toNewFilepath:", "renameFile_toNewFilepath_", "ss", ""},
    Message{"restoreFile:", "restoreFile_", "s", ""},
    Message{"downloadFile:toDirectory:", "downloadFile_toDirectory_", "ss", ""},
    Message{"linkForSharingFile:isDirectory:withReply:", "linkForSharingFile_isDirectory_withReply_", "sb",
            "s"},
    Message{"sendSharingFileByEmail:isDirectory:atEmail:withReply:",
            "sendSharingFileByEmail_isDirectory_atEmail_withReply_", "sbas", "b"},
    Message{"addSyncPath:withLocalSyncPath:", "addSyncPath_withLocalSyncPath_", "ss", ""},
    Message{"removeSyncPath:", "removeSyncPath_", "s", ""},
    Message{"excludeSyncPath:", "excludeSyncPath_", "s", ""},
    Message{"includeSyncPath:", "includeSyncPath_", "s", ""},
    Message{"isRemotePathExcluded:isBasePathOfExclusion:withReply:",
            "isRemotePathExcluded_isBasePathOfExclusion_withReply_", "s", "bb"},
    Message{"isLocalPathExcluded:isBasePathOfExclusion:withReply:",
            "isLocalPathExcluded_isBasePathOfExclusion_withReply_", "s", "bb"},
    Message{"pauseUploadingFSEvent", "pauseUploadingFSEvent", "", ""},
    Message{"resumeUploadingFSEvent", "resumeUploadingFSEvent", "", ""},
    Message{"pauseCacheFSEvent", "pauseCacheFSEvent", "", ""},
    Message{"resumeCacheFSEvent", "resumeCacheFSEvent", "", ""},
    Message{"pauseFSEventOnPath:", "pauseFSEventOnPath_", "s", ""},
    Message{"resumeFSEventOnPath:", "resumeFSEventOnPath_", "s", ""},
    Message{"pause", "pause", "", ""},
    Message{"resumeSync", "resumeSync", "", ""},
    Message{"contentOfDirectoryAtPath:onlyFile:recoursive:withReply:",
            "contentOfDirectoryAtPath_onlyFile_recoursive_withReply_", "sbb", "av"},
    Message{"directoriesAtPath:withReply:", "directoriesAtPath_withReply_", "s", "as"},
    Message{"directoriesNotInSyncAtRemoteDirecory:withReply:",
            "directoriesNotInSyncAtRemoteDirecory_withReply_", "s", "as"},
    Message{"countDirectoriesAtPath:withReply:", "countDirectoriesAtPath_withReply_", "s", "t"},
    Message{"remoteFileInfo:withReply:", "remoteFileInfo_withReply_", "s", "a{sv}"},
    Message{"pendingOperationOnPath:withReply:", "pendingOperationOnPath_withReply_", "s", "b"},
    Message{"pendingOperationOnRemotePath:withReply:", "pendingOperationOnRemotePath_withReply_", "s", "b"},
    Message{"localSnapshotChanged:NoRecursive:", "localSnapshotChanged_NoRecursive_", "sb", ""},
    Message{"uploadingDir", "uploadingDir", "", "s"},
    Message{"cacheDir", "cacheDir", "", "s"},
    Message{"uploadingDir:", "uploadingDir_", "", "s"},
    Message{"cacheDir:", "cacheDir_", "", "s"},
    Message{"allPendingOperations:", "allPendingOperations_", "", "av"},
    Message{"allPathsInSync:", "allPathsInSync_", "", "a{ss}"},
    Message{"remoteSnapshot:", "remoteSnapshot_", "", "s"},
    Message{"getSyncStatus:", "getSyncStatus_", "", "a{sv}"},
    Message{"copyLocalFile:toRemoteDestination:", "copyLocalFile_toRemoteDestination_", "ss", ""},
    Message{"moveLocalFile:toRemoteDestination:", "moveLocalFile_toRemoteDestination_", "ss", ""},
};

// The message of that name, or null.
constexpr const Message* messageNamed(std::string_view name) {
    for (const Message& message : messages)
        if (message.name == name) return &message;
    return nullptr;
}

// How long a caller waits for the reply before it goes on with none: short where a menu or the polling
// refresh waits, long where the daemon may have to ask its server.
constexpr std::chrono::milliseconds replyWait(std::string_view name) {
    using namespace std::chrono_literals;
    if (name == "getSyncStatus:" || name == "directoriesNotInSyncAtRemoteDirecory:withReply:" ||
        name == "countDirectoriesAtPath:withReply:")
        return 1s;
    return 30s;
}

} // namespace protocol
