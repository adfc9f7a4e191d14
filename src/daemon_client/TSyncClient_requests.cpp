// The requests of TSyncClient: the waiting core, and one operation for each message.
#include "daemon_client/TSyncClient.h"
#include "daemon_client/TSyncClient_shared.h"
#include "protocol/messages.h"

#include <atomic>
#include <condition_variable>
#include <thread>

namespace daemon_client {
namespace {

using platform::Array;
using platform::IPCError;
using platform::Reply;

constexpr std::chrono::seconds pauseBeforeAskingAgain{2};

// How long a waiting thread stays awake. Nearly every reply comes within this time, and to wake a thread
// whose processor has gone to sleep takes nearly as long again: a request took 1.8 times a bare call, and so
// it takes about 1.0. The thread yields, for a machine with one processor.
constexpr std::chrono::microseconds awake{200};

// Where a waiting request's reply arrives. It outlives the request, so that a late reply is harmless.
class ReplySlot {
  public:
    // Made before the request leaves: the time of the sending counts, and who sees the request on the bus
    // knows that its time runs.
    explicit ReplySlot(const platform::Clock& with) : clock(with), start(with.now()) {}

    void fill(Reply&& value) {
        {
            const std::lock_guard guard(lock);
            reply = std::move(value);
            isFilled = true;
        }
        arrived.notify_one();
    }

    // The reply, or none once the time is over. Once only.
    Reply wait(std::chrono::milliseconds bound) {
        while (!isFilled && clock.now() - start < awake)
            std::this_thread::yield();
        std::unique_lock guard(lock);
        while (!isFilled && clock.now() - start < bound)
            arrived.wait_until(guard, clock.wakeUp(start + bound));
        return std::move(reply);
    }

  private:
    const platform::Clock& clock; // read by the waiting thread alone
    const platform::Clock::TimePoint start;
    std::mutex lock;
    std::condition_variable arrived;
    std::atomic<bool> isFilled = false; // written with the lock held
    Reply reply;                        // guarded by the lock
};

Array texts(const std::vector<std::string>& items) { return {items.begin(), items.end()}; }

std::optional<std::string> stringOf(const Reply& reply) {
    const std::string* text = reply.value.string();
    return text != nullptr ? std::optional(*text) : std::nullopt;
}

bool booleanOf(const Reply& reply) {
    const bool* answer = reply.value.boolean();
    return answer != nullptr && *answer;
}

std::optional<Array> arrayOf(const Reply& reply) {
    const Array* items = reply.value.array();
    return items != nullptr ? std::optional(*items) : std::nullopt;
}

TSyncClient::Texts textsOf(const Reply& reply) {
    const Array* items = reply.value.array();
    if (items == nullptr) return std::nullopt;
    std::vector<std::string> result;
    result.reserve(items->size());
    for (const platform::Value& item : *items)
        if (const std::string* text = item.string()) result.push_back(*text);
    return result;
}

} // namespace

void TSyncClient::send(std::string_view message, const Array& arguments, platform::ReplyHandler completion) {
    if (const auto connection = currentConnection())
        connection->send(message, arguments, protocol::replyWait(message), std::move(completion));
    else
        completion({});
}

Reply TSyncClient::request(std::string_view message, const Array& arguments) {
    const auto connection = currentConnection();
    if (!connection) return {};
    const auto slot = std::make_shared<ReplySlot>(around.clock);
    connection->sendForWaiting(message, arguments, protocol::replyWait(message),
                               [slot](Reply reply) { slot->fill(std::move(reply)); });
    return slot->wait(protocol::replyWait(message));
}

Reply TSyncClient::ask(std::string_view message, const Array& arguments) {
    return connectIfNeeded() ? request(message, arguments) : Reply();
}

void TSyncClient::syncPath(Text path) {
    if (path) sendIfConnected("syncPath:", {*path});
}
void TSyncClient::cacheFile(Text path, const std::optional<platform::Dictionary>& withOperationOptions) {
    if (path && withOperationOptions)
        sendIfConnected("cacheFile:withOperationOptions:", {*path, *withOperationOptions});
}
void TSyncClient::deleteFile(Text path, bool trash) {
    if (path) sendIfConnected("deleteFile:trash:", {*path, trash});
}
void TSyncClient::renameFile(Text path, Text toNewFilepath) {
    if (path && toNewFilepath) sendIfConnected("renameFile:toNewFilepath:", {*path, *toNewFilepath});
}
void TSyncClient::restoreFile(Text path) {
    if (path) sendIfConnected("restoreFile:", {*path});
}
void TSyncClient::downloadFile(Text path, Text toDirectory) {
    if (path && toDirectory) sendIfConnected("downloadFile:toDirectory:", {*path, *toDirectory});
}
void TSyncClient::addSyncPath(Text remotePath, Text withLocalSyncPath) {
    if (remotePath && withLocalSyncPath)
        sendIfConnected("addSyncPath:withLocalSyncPath:", {*remotePath, *withLocalSyncPath});
}
void TSyncClient::removeSyncPath(Text path) {
    if (path) sendIfConnected("removeSyncPath:", {*path});
}
void TSyncClient::excludeSyncPath(Text path) {
    if (path) sendIfConnected("excludeSyncPath:", {*path});
}
void TSyncClient::includeSyncPath(Text path) {
    if (path) sendIfConnected("includeSyncPath:", {*path});
}
void TSyncClient::moveLocalFile(Text localPath, Text toRemoteDestination) {
    if (localPath && toRemoteDestination)
        sendIfConnected("moveLocalFile:toRemoteDestination:", {*localPath, *toRemoteDestination});
}
void TSyncClient::copyLocalFile(Text localPath, Text toRemoteDestination) {
    if (localPath && toRemoteDestination)
        sendIfConnected("copyLocalFile:toRemoteDestination:", {*localPath, *toRemoteDestination});
}
void TSyncClient::pauseUploadingFSEvent() { sendIfConnected("pauseUploadingFSEvent"); }
void TSyncClient::resumeUploadingFSEvent() { sendIfConnected("resumeUploadingFSEvent"); }
void TSyncClient::pauseCacheFSEvent() { sendIfConnected("pauseCacheFSEvent"); }
void TSyncClient::resumeCacheFSEvent() { sendIfConnected("resumeCacheFSEvent"); }
void TSyncClient::pauseFSEventOnPath(Text path) {
    if (path) sendIfConnected("pauseFSEventOnPath:", {*path});
}
void TSyncClient::resumeFSEventOnPath(Text path) {
    if (path) sendIfConnected("resumeFSEventOnPath:", {*path});
}
void TSyncClient::localSnapshotChanged(Text path, bool NoRecursive) {
    if (path) sendIfConnected("localSnapshotChanged:NoRecursive:", {*path, NoRecursive});
}

std::optional<std::string> TSyncClient::linkForSharingFile(Text path, bool isDirectory) {
    if (!path) return std::nullopt;
    return stringOf(ask("linkForSharingFile:isDirectory:withReply:", {*path, isDirectory}));
}
bool TSyncClient::sendSharingFileByEmail(Text path, bool isDirectory, const Texts& atEmail) {
    if (!path || !atEmail) return false;
    return booleanOf(
        ask("sendSharingFileByEmail:isDirectory:atEmail:withReply:", {*path, isDirectory, texts(*atEmail)}));
}
bool TSyncClient::isRemotePathExcluded(Text path, bool& isBasePathOfExclusion) {
    if (!path) return false;
    const Reply reply = ask("isRemotePathExcluded:isBasePathOfExclusion:withReply:", {*path});
    if (reply.baseFlag) isBasePathOfExclusion = *reply.baseFlag;
    return booleanOf(reply);
}
bool TSyncClient::isLocalPathExcluded(Text path, bool& isBasePathOfExclusion) {
    if (!path) return false;
    const Reply reply = ask("isLocalPathExcluded:isBasePathOfExclusion:withReply:", {*path});
    if (reply.baseFlag) isBasePathOfExclusion = *reply.baseFlag;
    return booleanOf(reply);
}
bool TSyncClient::pendingOperationOnPath(Text path) {
    return path && booleanOf(ask("pendingOperationOnPath:withReply:", {*path}));
}
bool TSyncClient::pendingOperationOnRemotePath(Text path) {
    return path && booleanOf(ask("pendingOperationOnRemotePath:withReply:", {*path}));
}
std::int32_t TSyncClient::statusOfFileAtPath(Text path) { return pendingOperationOnPath(path) ? 2 : 1; }
std::optional<platform::Dictionary> TSyncClient::remoteFileInfo(Text path) {
    if (!path) return std::nullopt;
    const Reply reply = ask("remoteFileInfo:withReply:", {*path});
    const platform::Dictionary* info = reply.value.dictionary();
    return info != nullptr ? std::optional(*info) : std::nullopt;
}
std::optional<Array> TSyncClient::contentOfDirectoryAtPath(Text path, bool onlyFile, bool recoursive) {
    if (!path) return std::nullopt;
    return arrayOf(
        ask("contentOfDirectoryAtPath:onlyFile:recoursive:withReply:", {*path, onlyFile, recoursive}));
}
TSyncClient::Texts TSyncClient::directoriesAtPath(Text path) {
    if (!path) return std::nullopt;
    return textsOf(ask("directoriesAtPath:withReply:", {*path}));
}
TSyncClient::Texts TSyncClient::directoriesNotInSyncAtRemoteDirecory(Text path) {
    if (!path) return std::nullopt;
    return textsOf(request("directoriesNotInSyncAtRemoteDirecory:withReply:", {*path}));
}
std::uint64_t TSyncClient::countDirectoriesAtPath(Text path) {
    if (!path) return 0;
    const Reply reply = request("countDirectoriesAtPath:withReply:", {*path});
    const std::uint64_t* count = reply.value.unsignedInteger();
    return count != nullptr ? *count : 0;
}
std::optional<Array> TSyncClient::allPendingOperations() { return arrayOf(ask("allPendingOperations:", {})); }

std::optional<std::string> TSyncClient::folder(std::string_view message,
                                               std::optional<std::string> Shared::*cache) {
    if (!connectIfNeeded()) return std::nullopt;
    {
        const std::lock_guard guard(shared->clientLock);
        if ((*shared).*cache) return (*shared).*cache;
    }
    auto answer = stringOf(request(message, {}));
    const std::lock_guard guard(shared->clientLock);
    (*shared).*cache = answer;
    return answer;
}

std::optional<std::string> TSyncClient::uploadingDir() {
    return folder("uploadingDir:", &Shared::_cachedUploadingDir);
}

std::optional<std::string> TSyncClient::cacheDir() {
    while (true) {
        try {
            return folder("cacheDir:", &Shared::_cachedCacheDir);
        } catch (const IPCError&) {
            around.clock.sleepFor(pauseBeforeAskingAgain);
        }
    }
}

std::shared_ptr<dirsnapshot::DirSnapshot> TSyncClient::remoteSnapshot() {
    if (!connectIfNeeded()) return nullptr;
    const auto remembered = [this] {
        const std::lock_guard guard(shared->clientLock);
        return shared->_cacedSnapshot;
    };
    if (auto snapshot = remembered()) return snapshot;
    try {
        std::shared_ptr<dirsnapshot::DirSnapshot> loaded;
        if (const auto file = stringOf(request("remoteSnapshot:", {})))
            loaded = std::make_shared<dirsnapshot::DirSnapshot>(
                dirsnapshot::DirSnapshot::initWithContentsOfFile(around.log, *file, "/", "sync"));
        const std::lock_guard guard(shared->clientLock);
        // When two have asked at once, the later answer stands; a missing answer does not empty the cache.
        if (loaded) shared->_cacedSnapshot = std::move(loaded);
        return shared->_cacedSnapshot;
    } catch (const IPCError&) {
        return remembered();
    }
}

} // namespace daemon_client
