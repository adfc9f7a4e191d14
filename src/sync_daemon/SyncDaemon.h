// What a sync daemon does when a request (sync_daemon/Requests.h) or a command message
// (sync_daemon/Commands.h) asks for it, whatever stands behind its space.
//
// Operations take paths as messages spell them and check them; what cannot be done is logged in one line and
// answered with false or none, and nothing has changed then. Any thread may call; no operation waits for a
// file to be transferred.
#pragma once

#include "platform/Value.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sync_daemon {

class SyncDaemon {
  public:
    virtual ~SyncDaemon() = default;

    // A pair. A remote root that has another local root is moved to the new one. Refused: "/" as remote root,
    // a local root that is not an existing folder, and one that holds the daemon's own or lies in it.
    virtual bool startSync(std::string_view localPath, std::string_view remotePath) = 0;
    // Ends a pair. Nothing is deleted on either side.
    virtual bool stopSync(std::string_view remotePath) = 0;
    // Looks again, now, for what has changed in the pairs that hold a remote path or lie below it.
    virtual bool syncPath(std::string_view remotePath) = 0;

    // What is excluded is not synced any more; what has arrived stays.
    virtual bool excludePath(std::string_view remotePath) = 0;
    virtual bool includePath(std::string_view remotePath) = 0;

    // Brings one file or folder into a folder of the space, under its own name or, when that is taken, under
    // a free one.
    virtual bool copyToSpace(std::string_view localPath, std::string_view remoteFolder) = 0;
    virtual bool moveToSpace(std::string_view localPath, std::string_view remoteFolder) = 0;

    virtual bool shareByEmail(std::string_view remotePath, bool isDirectory,
                              const std::vector<std::string>& recipients) = 0;

    // Something may have changed in a folder of this machine, or a file: it is looked at, with all below it
    // or not. Refused outside every pair.
    virtual bool localSnapshotChanged(std::string_view localPath, bool noRecursive) = 0;

    // While events at and below a local path, in the cache folder or in the uploading folder are paused,
    // nothing follows from them; what happened meanwhile is looked at on resuming.
    virtual bool setEventsPaused(std::string_view localPath, bool pause) = 0;
    virtual bool setCacheEventsPaused(bool pause) = 0;
    virtual bool setUploadingEventsPaused(bool pause) = 0;

    virtual void setPaused(bool pause) = 0;

    virtual platform::Dictionary allPathsInSync() const = 0; // remote root -> local root
    virtual platform::Dictionary syncStatus() const = 0;

    // Whether a path is excluded, and whether it is excluded itself (base) or by a folder above it. The
    // snapshot engine's built-in rules exclude local paths too.
    struct Exclusion {
        bool isExcluded = false;
        bool isBase = false;
    };
    virtual Exclusion exclusionOfRemote(std::string_view remotePath) const = 0;
    virtual Exclusion exclusionOfLocal(std::string_view localPath) const = 0;

    // What waits or is being transferred: dictionaries of "operation", "localPath" and "remotePath".
    virtual platform::Array pendingOperations() const = 0;
    virtual bool isPendingLocally(std::string_view localPath) const = 0;
    virtual bool isPendingRemotely(std::string_view remotePath) const = 0;

    // ---- Items of the space. "/" is neither changed nor moved away.

    // The full remote paths of the folders directly below one; or of those that neither are nor lie in a
    // remote root.
    virtual std::vector<std::string> directories(std::string_view remotePath) const = 0;
    virtual std::vector<std::string> directoriesNotInSync(std::string_view remotePath) const = 0;

    virtual std::optional<platform::Array> contentOfDirectory(std::string_view remotePath, bool onlyFile,
                                                              bool recursive) const = 0;
    virtual std::optional<platform::Dictionary> fileInfo(std::string_view remotePath) const = 0;

    // A public link to the item, which has to be of the kind that is given.
    virtual std::optional<std::string> linkForSharing(std::string_view remotePath,
                                                      bool isDirectory) const = 0;

    virtual bool deleteFile(std::string_view remotePath, bool toTrash) = 0;
    virtual bool renameFile(std::string_view remotePath, std::string_view newPath) = 0;
    virtual bool restoreFile(std::string_view remotePath) = 0;

    // To a folder of this machine, under its own name or a free one; and into the cache folder.
    virtual bool downloadFile(std::string_view remotePath, std::string_view toDirectory) = 0;
    virtual bool cacheFile(std::string_view remotePath) = 0;

    // None: the daemon has no such folder.
    virtual std::optional<std::string> cacheFolder() const = 0;
    virtual std::optional<std::string> uploadingFolder() const = 0;

    // Writes the snapshot of the space as it is now; the path to load it from.
    virtual std::optional<std::string> remoteSnapshot() const = 0;
};

} // namespace sync_daemon
