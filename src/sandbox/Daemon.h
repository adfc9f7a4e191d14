// The sandbox daemon: a stand-in for the sync daemon whose remote space is a local folder.
//
// It keeps the pairs (remote root -> local root), copies what lies in them and what changes in them into the
// space, and tells every observer on the machine what it does: path added, path removed, and a refresh with
// the whole table and the status at each change of either. Requests (sandbox/Requests.h) and command messages
// (sandbox/Commands.h) act on it.
//
// Two folders of its own are for whoever works with it: what is laid into the uploading folder moves into the
// space, to the same path; the cache folder holds copies of remote files, and a changed copy goes back to its
// place.
//
// Operations take paths as messages spell them and check them; what cannot be done is logged in one line and
// answered with false or none, and nothing has changed then. Nothing outside the space and these folders is
// changed but by a download, and by the moves that somebody asks for. Any thread may call; nothing waits for
// a file to be copied.
#pragma once

#include "platform/DistributedNotificationCenter.h"
#include "platform/ProcessLog.h"
#include "sandbox/Space.h"
#include "sandbox/State.h"
#include "sandbox/Uploader.h"
#include "sandbox/listing.h"

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sandbox {

class Daemon final : private UploadObserver {
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
           platform::ProcessLog& processLog);
    ~Daemon() override; // the copying in hand ends first

    // Says that the daemon is there, with a first refresh, and brings every pair up to date.
    void start();

    // Posts the refresh: the table and the status as they are now. Also for an extension that has just come.
    void refresh();

    // A pair. A remote root that has another local root is moved to the new one. Refused: "/" as remote
    // root, a local root that is no existing folder, and one that holds the space or the state or lies in
    // them.
    bool startSync(std::string_view localPath, std::string_view remotePath);
    // Ends a pair. What has arrived in the space stays there.
    bool stopSync(std::string_view remotePath);

    // What is excluded is not uploaded any more; what has arrived stays.
    bool excludePath(std::string_view remotePath);
    bool includePath(std::string_view remotePath);

    // Brings one file or folder into a folder of the space, under its own name or, when that is taken,
    // under a free one. A link is copied as what it leads to, and never moved.
    bool copyToSpace(std::string_view localPath, std::string_view remoteFolder);
    bool moveToSpace(std::string_view localPath, std::string_view remoteFolder);

    // Writes down who would have got mail: nothing is sent.
    bool shareByEmail(std::string_view remotePath, bool isDirectory,
                      const std::vector<std::string>& recipients);

    // Looks again for what has changed in each pair, or in those that hold a remote path or lie below it.
    void syncAgain();
    bool syncPath(std::string_view remotePath);

    // Something may have changed in a folder of this machine, or a file: it is looked at, with all below it
    // or not. Refused outside every pair.
    bool localSnapshotChanged(std::string_view localPath, bool noRecursive);

    // While events at and below a local path, in the cache folder or in the uploading folder are paused,
    // nothing follows from them; what happened meanwhile is looked at on resuming.
    bool setEventsPaused(std::string_view localPath, bool pause);
    void setCacheEventsPaused(bool pause);
    void setUploadingEventsPaused(bool pause);

    void setPaused(bool pause);

    platform::Dictionary allPathsInSync() const; // remote root -> local root
    platform::Dictionary syncStatus() const;

    // Whether a path is excluded, and whether it is so itself (base) or by a folder above it. A local path
    // also by the snapshot engine's built-in rules.
    struct Exclusion {
        bool isExcluded = false;
        bool isBase = false;
    };
    Exclusion exclusionOfRemote(std::string_view remotePath) const;
    Exclusion exclusionOfLocal(std::string_view localPath) const;

    // What waits or is being copied: dictionaries of "operation", "localPath" and "remotePath"; a directory
    // that is to be looked at again has the operation "look" and no remote path.
    platform::Array pendingOperations() const;
    bool isPendingLocally(std::string_view localPath) const;
    bool isPendingRemotely(std::string_view remotePath) const;

    // ---- Items of the space (Daemon_items.cpp). "/" is neither changed nor brought away.

    // The full remote paths of the folders directly below one; or of those that neither are nor lie in a
    // remote root.
    std::vector<std::string> directories(std::string_view remotePath) const;
    std::vector<std::string> directoriesNotInSync(std::string_view remotePath) const;
    std::uint64_t countDirectories(std::string_view remotePath) const;

    std::optional<platform::Array> contentOfDirectory(std::string_view remotePath, bool onlyFile,
                                                      bool recursive) const;
    std::optional<platform::Dictionary> fileInfo(std::string_view remotePath) const;

    // A "file:" URI of the item in the space, whose kind has to be the one that is said.
    std::optional<std::string> linkForSharing(std::string_view remotePath, bool isDirectory) const;

    bool deleteFile(std::string_view remotePath, bool toTrash);
    bool renameFile(std::string_view remotePath, std::string_view newPath);
    bool restoreFile(std::string_view remotePath);

    // To a folder of this machine, under its own name or a free one; and into the cache folder.
    bool downloadFile(std::string_view remotePath, std::string_view toDirectory);
    bool cacheFile(std::string_view remotePath);

    std::string cacheFolder() const { return stateFolder / "cache"; }
    std::string uploadingFolder() const { return stateFolder / "uploading"; }

    // Writes the snapshot of the space as it is now; the path to load it from.
    std::optional<std::string> remoteSnapshot() const;

  private:
    std::vector<UploadTask> roots() override;
    std::vector<std::string> exclusions(const UploadTask& task, const std::string& folder) override;
    bool isWanted(const UploadTask& task, std::string_view remotePath) override;
    void phaseChanged(std::string_view status, const std::optional<FileInFlight>& file) override;

    bool refuse(std::string_view what, std::string_view path, std::string_view why) const;
    // The path in plain form; none, and a log line, for one that may not be changed or brought away.
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
    State state;                 // guarded by stateLock, as the status
    platform::Dictionary status; // "status", and "info" during a transfer

    Uploader uploader; // last: its thread uses the rest
};

} // namespace sandbox
