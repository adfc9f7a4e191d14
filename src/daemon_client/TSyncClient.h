// The process's one client of the sync daemon: it owns the request connection, sets it up again on demand,
// keeps the cached answers and answers the sync-path lookups from its own table.
//
// Threads: every operation may be called from any thread. A waiting request blocks its caller until the
// reply is there or the message's bound has passed (protocol/messages.h), awake for the first 0.2
// milliseconds; it must not be called on the queue that delivers replies. No lock is held across a wait but
// the status lock. There is no timer: a client that lost its daemon connects again at the next request.
//
// Errors: IPCError leaves an operation only where that is said. A missing reply looks like a negative one.
//
// `connected` means that a connection is set up and its first request handed to it, not that a daemon has
// answered.
#pragma once

#include "daemon_client/SyncPathTable.h"
#include "dirsnapshot/DirSnapshot.h"
#include "platform/Clock.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/NotificationCenter.h"
#include "platform/ProcessLog.h"
#include "platform/Queue.h"
#include "platform/RequestConnection.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace daemon_client {

struct SyncPaths;

class TSyncClient {
  public:
    // Everything outlives the client.
    struct Surroundings {
        platform::RequestConnectionFactory& connections;
        platform::DistributedNotificationCenter& distributedCenter;
        platform::NotificationCenter& localCenter;
        platform::ProcessLog& log;
        platform::Clock& clock;
    };

    // The process's client, made at the first call from what was installed and never destroyed. To be
    // installed once, by the program's start, before anybody asks.
    static TSyncClient& sharedInstance();
    static void install(const Surroundings& surroundings);

    // Connects; the client is usable whether or not that worked.
    explicit TSyncClient(const Surroundings& surroundings);
    ~TSyncClient();
    TSyncClient(const TSyncClient&) = delete;
    TSyncClient& operator=(const TSyncClient&) = delete;

    // Sets up the connection and asks for the sync path table, without waiting for it; does nothing when
    // connected. A failure is logged and leaves the client not connected.
    void connect();

    // Connects when needed; whether that leaves the client connected.
    bool daemonIsReady();

    // Tells the daemon to close, and drops the connection. A failed send is tried again every two seconds
    // for as long as the client is connected.
    void close();

    // Drops the connection, whose death is nobody's from then on; requests that wait end without a reply. The
    // caches stay.
    void invalidateSession();

    // The cached table as it is now, none before the first reply. No request. The table is immutable; a
    // change replaces it.
    std::shared_ptr<const SyncPathTable> allPathsInSync() const;

    // The daemon's status: none when it did not answer, the last one when it could not be asked.
    std::optional<platform::Dictionary> getSyncStatus();

    // Raise IPCError when the message cannot be sent.
    void pause();
    void resume();

    // Observes the death of the connection and the daemon's path and start notifications; registered once
    // and kept for the client's life.
    void bindTSyncQuenzNotification();

    // The lookups of sync_path_mapping.h on the client's table. The two translations connect first and
    // answer none while not connected.
    bool isPathInSync(std::string_view path, bool& isBasePathOfSync) const;
    std::optional<std::string> remotePathOfLocalSyncPath(std::optional<std::string_view> path);
    std::optional<std::string> localSyncPathOfRemotePath(std::optional<std::string_view> path);

    // ---- The other requests: one operation for each message of the protocol.
    //
    // Each connects first, unless said otherwise. One with a reply waits for it and answers none, false or 0
    // when there is no connection, no reply in time, or a reply of none or of another type. One without sends
    // and returns at once. Either raises IPCError when its message cannot be sent, unless said otherwise.
    // When an argument is none, nothing is sent, and the answer is none, false or 0.
    //
    // Paths are handed to the daemon unchanged.
    using Text = std::optional<std::string_view>;
    using Texts = std::optional<std::vector<std::string>>;

    // The asynchronous core: sends a message of the protocol on the current connection, whatever `connected`
    // says and without connecting. The completion runs once, with the reply or at the message's deadline
    // without one, on the reply queue; without a connection it runs at once on the caller's thread. It must
    // not wait for another reply.
    void send(std::string_view message, const platform::Array& arguments, platform::ReplyHandler completion);

    void syncPath(Text path);
    void cacheFile(Text path, const std::optional<platform::Dictionary>& withOperationOptions);
    void deleteFile(Text path, bool trash);
    void renameFile(Text path, Text toNewFilepath);
    void restoreFile(Text path);
    void downloadFile(Text path, Text toDirectory);
    void addSyncPath(Text remotePath, Text withLocalSyncPath);
    void removeSyncPath(Text path);
    void excludeSyncPath(Text path);
    void includeSyncPath(Text path);
    void moveLocalFile(Text localPath, Text toRemoteDestination);
    void copyLocalFile(Text localPath, Text toRemoteDestination);
    void pauseUploadingFSEvent();
    void resumeUploadingFSEvent();
    void pauseCacheFSEvent();
    void resumeCacheFSEvent();
    void pauseFSEventOnPath(Text path);
    void resumeFSEventOnPath(Text path);
    void localSnapshotChanged(Text path, bool NoRecursive = false);

    std::optional<std::string> linkForSharingFile(Text path, bool isDirectory);
    bool sendSharingFileByEmail(Text path, bool isDirectory, const Texts& atEmail);
    // The flag is written when the daemon's answer came in time and carries it, and left alone otherwise.
    bool isRemotePathExcluded(Text path, bool& isBasePathOfExclusion);
    bool isLocalPathExcluded(Text path, bool& isBasePathOfExclusion);
    bool pendingOperationOnPath(Text path);
    bool pendingOperationOnRemotePath(Text path);
    // 2 while an operation is pending on the file, else 1.
    std::int32_t statusOfFileAtPath(Text path);
    std::optional<platform::Dictionary> remoteFileInfo(Text path);
    std::optional<platform::Array> contentOfDirectoryAtPath(Text path, bool onlyFile, bool recoursive);
    Texts directoriesAtPath(Text path);
    // These two send on the current connection, whatever `connected` says, and never connect.
    Texts directoriesNotInSyncAtRemoteDirecory(Text path);
    std::uint64_t countDirectoriesAtPath(Text path);
    std::optional<platform::Array> allPendingOperations();

    // The daemon's two folders, remembered until the next sync path table arrives. While not connected: none.
    // When `cacheDir` cannot send it tries again every two seconds for as long as the client is connected;
    // `uploadingDir` raises.
    std::optional<std::string> uploadingDir();
    std::optional<std::string> cacheDir();

    // The snapshot that the daemon has written of the remote space; its `loaded` says whether it could be
    // read. Remembered for the client's life. It is read on the calling thread, so that no other reply is
    // delayed. Raises nothing: when the request cannot be sent, the answer is what is remembered. While not
    // connected: none.
    //
    // The object is shared with every caller and is no more thread-safe than any snapshot: use it on one
    // thread at a time.
    std::shared_ptr<dirsnapshot::DirSnapshot> remoteSnapshot();

    // What the log shows for the client.
    std::string description() const { return "<TSyncClient>"; }

  private:
    // What reply and notification handlers share with the client, which they may outlive.
    struct Shared;

    // Connects when needed; whether requests can be sent.
    bool connectIfNeeded();
    std::shared_ptr<const SyncPaths> syncPaths() const;
    // The live connection, or null.
    std::shared_ptr<platform::RequestConnection> currentConnection() const;
    void sendIfConnected(std::string_view message, const platform::Array& arguments = {});
    // Connects when needed, sends and waits; no reply while not connected.
    platform::Reply ask(std::string_view message, const platform::Array& arguments);
    // The cached folder, or the one that the daemon names now.
    std::optional<std::string> folder(std::string_view message, std::optional<std::string> Shared::*cache);
    // Sends and waits for the reply, at most the message's bound. Raises IPCError when it cannot be sent.
    platform::Reply request(std::string_view message, const platform::Array& arguments);
    void observeDeathOfConnection();
    void onSyncQuenzConnectionDies();
    void onSyncPathAdded(const platform::Notification& notification);
    void onSyncPathRemoved(const platform::Notification& notification);

    const Surroundings around;

    std::shared_ptr<Shared> shared; // its lock is the client lock
    std::atomic<bool> connected = false;
    std::shared_ptr<platform::RequestConnection> _connectionToService; // guarded by the client lock
    bool isBound = false;                                              // guarded by the client lock
    platform::Subscription deathObserver;                              // guarded by the client lock
    std::vector<platform::Subscription> observers;                     // filled by the one that binds

    std::mutex statusLock;                           // held across the wait for the status
    std::optional<platform::Dictionary> _syncStatus; // guarded by the status lock
};

} // namespace daemon_client
