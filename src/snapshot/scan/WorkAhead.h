// Reading directories ahead of a scan.
//
// The scan walks the tree on its own thread and in its own order; for each directory it comes to, it asks for
// the listing. Helper threads read and examine directories that it will come to, the nearest first; what is
// not ready when it is asked for is read on the asking thread, which also takes other directories while a
// helper is at the one it needs. No helper is started before a tree has shown some size.
#pragma once

#include "snapshot/scan/DirectoryListing.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace snapshot {

class WorkAhead {
  public:
    // One directory. From take() on it belongs to its taker; before that only this class looks into it.
    struct Directory {
        explicit Directory(std::string absolutePath) : path(std::move(absolutePath)) {}

        const std::string path;
        DirectoryListing listing; // empty when the directory cannot be read
        bool isRead = true;       // false when it is there and cannot be read
        std::vector<std::unique_ptr<Directory>>
            below; // the directories among the entries whose paths fit, in order

      private:
        friend class WorkAhead;
        enum class State { waiting, beingRead, read };
        State state = State::waiting; // guarded by the mutex
        bool followsLink = false;     // for the top: its path may be a link
    };

    // `threads` is how many may read at a time, the caller's included.
    explicit WorkAhead(unsigned threads) : _threads(threads) {}
    ~WorkAhead();
    WorkAhead(const WorkAhead&) = delete;
    WorkAhead& operator=(const WorkAhead&) = delete;

    // The top of a scan.
    std::unique_ptr<Directory> top(const char* path);

    // Waits until the directory has been read, and reads meanwhile. Each directory is taken once, and those
    // below it are taken after it; all of them must be taken before this object goes.
    void take(Directory& directory);

  private:
    void help();
    static bool read(Directory& directory);
    void readUnlocked(std::unique_lock<std::mutex>& lock, Directory& directory, bool isHelper);
    void startHelpers();

    unsigned _threads; // 1 once no further helper is to be tried
    std::vector<std::thread> _helpers;
    size_t _entriesTaken = 0; // by the scan's own thread; decides when helpers start

    std::mutex _mutex;                // guards everything below, and the state of each directory
    std::condition_variable _hasWork; // for helpers
    std::condition_variable _hasRead; // for the scan's thread
    std::vector<Directory*> _waiting; // the nearest last
    size_t _entriesAhead = 0;         // read and not yet taken
    unsigned _helpersReading = 0;
    bool _stops = false; // helpers end: the scan is over, or the process has no descriptors left for them
};

} // namespace snapshot
