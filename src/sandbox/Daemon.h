// The sandbox daemon: a stand-in for the sync daemon whose remote space is a local folder.
//
// It keeps the pairs (remote root -> local root), copies what lies in them and what changes in them into the
// space, and tells every observer on the machine what it does: path added, path removed, and a refresh with
// the whole table and the status at each change of either.
//
// Two folders of its own are for whoever works with it: what is laid into the uploading folder moves into the
// space, to the same path; the cache folder holds copies of remote files, and a changed copy goes back to its
// place.
//
// Operations take paths as messages spell them and check them; what cannot be done is logged in one line and
// answered with false or none, and nothing has changed then. Outside the space and these folders, only a
// download and the moves that somebody asks for change anything. Any thread may call; nothing waits for a
// file to be copied.
#pragma once

#include "platform/DistributedNotificationCenter.h"
#include "platform/ProcessLog.h"
#include "sandbox/Space.h"
#include "sandbox/Uploader.h"
#include "sandbox/listing.h"
#include "sync_daemon/State.h"
#include "sync_daemon/SyncDaemon.h"

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sandbox {

class Daemon final : public sync_daemon::SyncDaemon, private UploadObserver {
  public:
    struct Settings {
        std::filesystem::path spaceFolder;
        std::filesystem::path stateFolder;
        Uploader::Pace pace;
        SnapshotStore snapshotStore = SnapshotStore::database;
        // Tells of changes in the local roots; without it they are seen when somebody asks. Outlives the
        // daemon.
        platform::DirectoryEvents* events = nullptr;
    };

    // Creates the folders and reads the state that an earlier run left. Raises
    // std::filesystem::filesystem_error when they cannot be used. Nothing is posted before start.
    Daemon(const Settings& settings, platform::DistributedNotificationCenter& distributedCenter,
           platform::ProcessLog& processLog, const platform::Clock& clock = platform::machineClock());
    ~Daemon() override; // the copying in hand ends first

    // Says that the daemon is there, with a first refresh, and brings every pair up to date.
    void start();

    // Posts the refresh: the table and the status as they are now. Serves an extension that has just come,
    // too.
    void refresh();

    // Refused as a local root are folders that hold the space or the state, or lie in them. What is stopped
    // or excluded stays in the space.
    bool startSync(std::string_view localPath, std::string_view remotePath) override;
    bool stopSync(std::string_view remotePath) override;
    bool excludePath(std::string_view remotePath) override;
    bool includePath(std::string_view remotePath) override;

    // A link is copied as what it leads to, and never moved.
    bool copyToSpace(std::string_view localPath, std::string_view remoteFolder) override;
    bool moveToSpace(std::string_view localPath, std::string_view remoteFolder) override;

    // Writes down who would have got mail: nothing is sent.
    bool shareByEmail(std::string_view remotePath, bool isDirectory,
                      const std::vector<std::string>& recipients) override;

    // Looks again for what has changed in each pair.
    void syncAgain();
    bool syncPath(std::string_view remotePath) override;
    bool localSnapshotChanged(std::string_view localPath, bool noRecursive) override;
    bool setEventsPaused(std::string_view localPath, bool pause) override;
    bool setCacheEventsPaused(bool pause) override;
    bool setUploadingEventsPaused(bool pause) override;
    void setPaused(bool pause) override;

    platform::Dictionary allPathsInSync() const override;
    platform::Dictionary syncStatus() const override;
    Exclusion exclusionOfRemote(std::string_view remotePath) const override;
    Exclusion exclusionOfLocal(std::string_view localPath) const override;

    // A directory that is to be looked at again has the operation "look" and no remote path.
    platform::Array pendingOperations() const override;
    bool isPendingLocally(std::string_view localPath) const override;
    bool isPendingRemotely(std::string_view remotePath) const override;

    // ---- Items of the space (Daemon_items.cpp).

    std::vector<std::string> directories(std::string_view remotePath) const override;
    std::vector<std::string> directoriesNotInSync(std::string_view remotePath) const override;
    std::optional<platform::Array> contentOfDirectory(std::string_view remotePath, bool onlyFile,
                                                      bool recursive) const override;
    std::optional<platform::Dictionary> fileInfo(std::string_view remotePath) const override;
    // A "file:" URI of the item in the space.
    std::optional<std::string> linkForSharing(std::string_view remotePath, bool isDirectory) const override;
    bool deleteFile(std::string_view remotePath, bool toTrash) override;
    bool renameFile(std::string_view remotePath, std::string_view newPath) override;
    bool restoreFile(std::string_view remotePath) override;
    bool downloadFile(std::string_view remotePath, std::string_view toDirectory) override;
    bool cacheFile(std::string_view remotePath) override;
    std::optional<std::string> cacheFolder() const override { return ownCacheFolder(); }
    std::optional<std::string> uploadingFolder() const override { return ownUploadingFolder(); }
    std::optional<std::string> remoteSnapshot() const override;

  private:
    std::string ownCacheFolder() const { return stateFolder / "cache"; }
    std::string ownUploadingFolder() const { return stateFolder / "uploading"; }
    std::vector<UploadTask> roots() override;
    std::vector<std::string> exclusions(const UploadTask& task, const std::string& folder) override;
    bool isWanted(const UploadTask& task, std::string_view remotePath) override;
    void phaseChanged(std::string_view status, const std::optional<FileInFlight>& file) override;

    bool refuse(std::string_view what, std::string_view path, std::string_view why) const;
    // The path in plain form; none, and a log line, for one that may not be changed or moved away.
    std::optional<std::string> checkedItem(std::string_view what, std::string_view remotePath) const;
    void setHeld(const std::string& folder, bool pause);
    bool holdsOurs(const std::filesystem::path& folder) const;
    bool bringToSpace(UploadTask::Kind kind, std::string_view localPath, std::string_view remoteFolder);
    void post(std::string name, platform::Dictionary userInfo);

    const Space space;
    const std::filesystem::path stateFolder; // canonical
    const std::filesystem::path stateFile;
    const SnapshotStore snapshotStore;
    platform::DirectoryEvents* const events;
    platform::DistributedNotificationCenter& center;
    platform::ProcessLog& log;

    // What is posted has one order, that of the states it shows. Taken before stateLock.
    std::mutex postLock;
    mutable std::mutex stateLock;
    sync_daemon::State state;    // guarded by stateLock, as the status
    platform::Dictionary status; // "status", and "info" during a transfer

    Uploader uploader; // last: its thread uses the rest
};

} // namespace sandbox
