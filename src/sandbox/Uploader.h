// Brings local files into the space, and files of the space to local folders, one after the other, on a
// thread of its own; and looks at the synced folders again where something has changed.
//
// A synced folder is brought up to date, never blindly repeated: what the space already holds with the same
// size and time of change is not copied again, and what was deleted in the folder goes into the space's
// trash. Regular files and folders are taken; links and special files are left out with a log line, and so is
// a name that is not UTF-8, because no message could speak of it.
//
// The thread sleeps while there is nothing to do.
#pragma once

#include "platform/Clock.h"
#include "platform/DirectoryEvents.h"
#include "platform/ProcessLog.h"
#include "sandbox/FileTransfer.h"
#include "sandbox/LocalRoot.h"
#include "sandbox/PendingChanges.h"
#include "sandbox/Space.h"
#include "sandbox/UploadTask.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace sandbox {

class Uploader {
  public:
    struct Pace {
        std::uint64_t bytesPerSecond = 0; // 0: as fast as the disk
        // The files of a burst of small ones are not announced one by one: between two announcements of a
        // transfer at least this time passes, except that a file still in flight then is announced.
        std::chrono::milliseconds announcement{20};
    };

    // Everything outlives the uploader. Without events, changes are seen where a message asks for it.
    struct Surroundings {
        const Space& space;
        platform::DirectoryEvents* events; // may be null
        UploadObserver& observer;
        platform::ProcessLog& log;
        const platform::Clock& clock;
    };
    // The snapshots of the synced folders are kept in a folder of their own, which exists.
    Uploader(const Surroundings& surroundings, std::string folderOfSnapshots, Pace wantedPace);
    ~Uploader(); // ends the copying in hand and leaves no half file

    // Queues a task. An equal one that still waits is not queued twice.
    void add(UploadTask task);

    // While paused nothing moves; the file in flight goes on where it stopped.
    void setPaused(bool pause);

    // A directory of this machine has changed, as an event tells or a message; with all below it or not.
    // Looked at in each synced folder that it lies in.
    void noticed(const platform::DirectoryEvent& event);
    void lookAgain(const std::string& directory, bool recursive, const std::string& name = {});

    // Events at and below a path wait until it is released.
    void holdEvents(const std::string& path);
    void releaseEvents(const std::string& path);

    // What waits or is in hand; a synced folder that has not been looked at yet counts as one. And the
    // directories that are to be looked at again.
    std::vector<UploadTask> pendingTasks() const;
    std::vector<std::string> pendingDirectories() const;
    // Whether something pending is at the path, in it, or brings a folder above it.
    bool isPendingLocally(std::string_view localPath) const;
    bool isPendingRemotely(std::string_view remotePath) const;

  private:
    struct Work { // one file to be copied
        UploadTask task;
        std::string localPath;
        std::string remotePath;
        LocalRoot* root = nullptr; // the synced folder that it is from
        bool keepsFormer = false;  // what it replaces in the space did not come from there
    };
    struct Scan {
        std::vector<Work> files;
        std::vector<std::string> directories; // local, a folder before what it holds
    };

    void run();
    void perform(const UploadTask& task);
    void lookAtChanges(const PendingChanges::Directories& changes);
    void bring(const UploadTask& task);
    void download(const UploadTask& task);
    void fetchIntoCache(const UploadTask& task);
    // An item of the space with all below it, a folder before what it holds: into a folder only when the
    // visit says so. Links and special files stay behind, with a log line.
    void walkSpace(const std::string& remotePath,
                   const std::function<bool(const std::string& remote, const std::filesystem::path& source,
                                            ItemKind kind)>& visit);
    // Names what is being downloaded, for the next start.
    std::filesystem::path stagingNote() const { return std::filesystem::path(snapshotFolder) / "receiving"; }
    Scan scan(const UploadTask& task);
    LocalRoot& rootOf(const UploadTask& task, const std::string& folder);
    void forgetRoot(std::map<std::string, LocalRoot>::iterator root);
    std::vector<Work> worksOf(const UploadTask& task, LocalRoot& root, const Differences& differences);
    bool makeWay(const std::string& remoteRoot, const std::string& remote);
    void transferAll(const std::vector<Work>& works);
    TransferResult upload(const Work& work);
    TransferResult transfer(const Work& work, const FileTransfer& file);
    bool mayGoOn(const Work& work);
    void spend(std::uint64_t bytes);
    void announce(const Work& work, std::uint64_t size);
    bool isStopping();
    void setInHand(std::vector<UploadTask> tasks);

    const Surroundings around;
    const std::string snapshotFolder;
    const Pace pace;

    mutable std::mutex lock;
    std::condition_variable changed;
    std::deque<UploadTask> waiting; // guarded by lock, as those up to the next comment
    PendingChanges changes;
    std::map<std::string, UploadTask, std::less<>> inHand;          // by local path
    std::map<std::string, std::size_t, std::less<>> inHandRemotely; // how many, by remote path
    bool hasLostEvents = false;
    bool paused = false;
    bool stopping = false;

    // Of the thread alone.
    std::map<std::string, LocalRoot> roots; // by kind and remote root
    platform::Clock::TimePoint nextByte;    // when the throttle lets the next byte through
    platform::Clock::TimePoint lastAnnouncement;
    std::string announced; // the local path that the last announcement named

    std::thread thread; // last: it uses the rest
};

} // namespace sandbox
