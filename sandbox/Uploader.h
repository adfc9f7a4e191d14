// Copies local files into the space, one after the other, on a thread of its own.
//
// A task is brought up to date, never blindly repeated: what the space already holds with the same size and
// time of change is not copied again. A file is received beside and renamed, so that the space never shows
// half of one. Regular files and folders are taken; links and special files are left out with a log line,
// and so is a name that is no UTF-8, because no message could speak of it.
#pragma once

#include "platform/ProcessLog.h"
#include "sandbox/Space.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace sandbox {

struct UploadTask {
    enum class Kind {
        sync, // a pair: everything below the local root that differs
        copy, // one item, as an own copy
        move, // the same, and each file is removed from its old place once it has safely arrived
    };
    Kind kind = Kind::sync;
    std::string localPath;
    std::string remotePath; // where localPath itself arrives; plain

    friend bool operator==(const UploadTask&, const UploadTask&) = default;
};

struct FileInFlight {
    std::string localPath;
    std::uint64_t size = 0; // bytes
};

// Told what happens, on the uploader's thread and without a lock of its in hand.
class UploadObserver {
  public:
    virtual ~UploadObserver() = default;

    // Whether an item of a task is still to be uploaded. Asked before each item and again while it is being
    // copied: a "no" ends its copying and leaves no trace of it.
    virtual bool isWanted(const UploadTask& task, std::string_view remotePath) = 0;

    // The phase, as the sync status names it, and the file in flight, which only "syncStatusTransfer" has.
    virtual void phaseChanged(std::string_view status, const std::optional<FileInFlight>& file) = 0;
};

class Uploader {
  public:
    struct Pace {
        std::uint64_t bytesPerSecond = 0; // 0: as fast as the disk
        // The files of a burst of small ones are not announced one by one: between two announcements of a
        // transfer at least this time passes, except that a file still in flight then is announced.
        std::chrono::milliseconds announcement{20};
    };

    // Space, observer and log must outlive the uploader.
    Uploader(const Space& remoteSpace, Pace wantedPace, UploadObserver& uploadObserver,
             platform::ProcessLog& processLog);
    ~Uploader(); // ends the copying in hand and leaves no half file

    // Queues a task. An equal one that still waits is not queued twice.
    void add(UploadTask task);

    // While paused nothing moves; the file in flight goes on where it stopped.
    void setPaused(bool pause);

  private:
    struct File {
        std::string localPath;
        std::string remotePath;
    };
    struct Scan {
        std::vector<File> files;
        std::vector<std::string> directories; // local, a folder before what it holds
    };

    void run();
    void perform(const UploadTask& task);
    Scan scan(const UploadTask& task);
    void take(const UploadTask& task, const File& file);
    bool copy(const UploadTask& task, const File& file);
    bool transferBytes(const UploadTask& task, const File& file, int source, int target, std::uint64_t size);
    bool mayGoOn(const UploadTask& task, const std::string& remotePath);
    void spend(std::uint64_t bytes);
    void announce(const File& file, std::uint64_t size);
    bool isStopping();

    const Space& space;
    const Pace pace;
    UploadObserver& observer;
    platform::ProcessLog& log;

    std::mutex lock;
    std::condition_variable changed;
    std::deque<UploadTask> waiting; // guarded by lock, as the next two
    bool paused = false;
    bool stopping = false;

    // Of the thread alone.
    std::chrono::steady_clock::time_point nextByte; // when the throttle lets the next byte through
    std::chrono::steady_clock::time_point lastAnnouncement;
    std::string announced; // the local path that the last announcement named

    std::thread thread; // last: it uses the rest
};

} // namespace sandbox
