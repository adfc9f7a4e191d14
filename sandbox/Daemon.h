// The sandbox daemon: a stand-in for the sync daemon whose remote space is a local folder.
//
// It keeps the pairs (remote root -> local root), copies what lies in them into the space, and tells every
// observer on the machine what it does: path added, path removed, and a refresh with the whole table and the
// status at each change of either. Requests (sandbox/Requests.h) and command messages (sandbox/Commands.h)
// act on it.
//
// Operations take paths as messages spell them and check them; what cannot be done is logged and answered
// with false, and nothing has changed then. Any thread may call; nothing waits for a file to be copied.
#pragma once

#include "platform/DistributedNotificationCenter.h"
#include "platform/ProcessLog.h"
#include "sandbox/Space.h"
#include "sandbox/State.h"
#include "sandbox/Uploader.h"

#include <mutex>
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
    };

    // Creates the folders and reads the state that an earlier run left. Raises
    // std::filesystem::filesystem_error when they cannot be used. Nothing is posted before start.
    Daemon(const Settings& settings, platform::DistributedNotificationCenter& distributedCenter,
           platform::ProcessLog& processLog);
    ~Daemon() override = default; // the copying in hand ends first

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

    // Looks again for what has changed in each pair.
    void syncAgain();

    void setPaused(bool pause);

    platform::Dictionary allPathsInSync() const; // remote root -> local root
    platform::Dictionary syncStatus() const;

    // The full remote paths of the folders directly below one that neither are nor lie in a remote root.
    std::vector<std::string> directoriesNotInSync(std::string_view remotePath) const;
    std::uint64_t countDirectories(std::string_view remotePath) const;

  private:
    bool isWanted(const UploadTask& task, std::string_view remotePath) override;
    void phaseChanged(std::string_view status, const std::optional<FileInFlight>& file) override;

    bool refuse(std::string_view what, std::string_view path, std::string_view why);
    bool holdsOurs(const std::filesystem::path& folder) const;
    bool bringToSpace(UploadTask::Kind kind, std::string_view localPath, std::string_view remoteFolder);
    void post(std::string name, platform::Dictionary userInfo);

    const Space space;
    const std::filesystem::path stateFolder; // canonical
    const std::filesystem::path stateFile;
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
