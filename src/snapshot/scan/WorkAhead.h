// Reading directories ahead of a scan.
//
// The scan walks the tree on its own thread and in its own order; for each directory it comes to, it asks for
// the listing. Helper threads read and examine directories that it will come to, the nearest first; what is
// not ready when it is asked for is read on the asking thread, which also takes other directories while a
// helper is at the one it needs. No helper is started before a tree has shown some size, or its disk that it
// is slow.
//
// Where answers are slow, what a directory's names show is used before its entries are examined: directories
// among them are begun with, and threads that find no other directory share in the examining.
//
// Where the tree is known from an earlier look, the names in a directory that is as before are not read but
// taken from there, and evidence is noted of all that is examined.
#pragma once

#include "snapshot/scan/Asking.h"
#include "snapshot/scan/DirectoryListing.h"
#include "snapshot/scan/KnownTree.h"
#include "snapshot/scan/Pace.h"

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
        Directory(std::string absolutePath, size_t positionAbove)
            : path(std::move(absolutePath)), position(positionAbove) {}

        const std::string path;
        DirectoryListing listing;           // empty when the directory cannot be read
        bool isRead = true;                 // false when it is there and cannot be read
        KnownTree::Item known;              // what it was; only where the tree is known, as the next two
        bool isAsBefore = false;            // its names were not read
        std::vector<KnownTree::Item> items; // what its entries were
        std::vector<std::unique_ptr<Directory>>
            below; // the directories among the entries whose paths fit, in order

        bool isOpen() const { return descriptor >= 0; } // while it is being read

      private:
        friend class WorkAhead;
        enum class State { isNew, waiting, beingRead, read };
        const size_t position;      // in the listing of the directory above
        bool followsLink = false;   // for the top: its path may be a link
        int descriptor = -1;        // while it is being read
        State state = State::isNew; // guarded by the mutex, as the next
        size_t nextEntry = 0;       // while it is shared: the first that nobody examines yet
        unsigned examining = 0;     // threads that examine its entries
    };

    // `threads` is how many may read at a time, the caller's included, at most Asking::kMostThreads; 0 goes
    // by the answers. `asking`, if any, shows what they are at; the caller's thread is the first. `known`, if
    // any, is what is known of the tree; of a directory, only its taker may change it.
    explicit WorkAhead(unsigned threads, Asking* asking = nullptr, const KnownTree* known = nullptr)
        : _asking(asking), _known(known), _pace(threads) {}
    ~WorkAhead();
    WorkAhead(const WorkAhead&) = delete;
    WorkAhead& operator=(const WorkAhead&) = delete;

    // The top of a scan; where the tree is known with what it was, and whether it is as before.
    std::unique_ptr<Directory> top(const char* path, const KnownTree::Item& known = {},
                                   bool isAsBefore = false);

    // Waits until the directory has been read, and reads meanwhile. Each directory is taken once, and those
    // below it are taken after it; all of them must be taken before this object goes.
    void take(Directory& directory);

    // Ends a directory that was taken. Its listing's memory serves for others.
    void giveBack(std::unique_ptr<Directory> directory);

  private:
    using Lock = std::unique_lock<std::mutex>;
    using Directories = std::vector<std::unique_ptr<Directory>>;

    // All under the lock, which they let go of while the disk is asked, but for the last four.
    void help(unsigned thread);
    bool hasWork() const;
    bool doOther(Lock& lock, unsigned thread);
    void read(Lock& lock, Directory& directory, unsigned thread);
    bool tryToRead(Lock& lock, Directory& directory, unsigned thread);
    void share(Lock& lock, Directory& directory, unsigned thread);
    void examinePieces(Lock& lock, Directory& directory, unsigned thread);
    void conclude(Directory& directory, Directories unexpected);
    void letOthersRead(const Directories& directories);
    void note(Pace::Duration taken, size_t questions);
    void startHelpers();
    bool readNames(Directory& directory, bool isSlow, Asking::Thread* asking) const;
    Directories finish(Directory& directory) const;
    std::unique_ptr<Directory> below(const Directory& directory, std::string path, size_t position) const;
    Asking::Thread* asking(unsigned thread) const;

    Asking* const _asking;
    const KnownTree* const _known;
    std::vector<std::thread> _helpers; // the scan's own thread alone looks at these three
    size_t _entriesTaken = 0;          // decides when helpers start
    bool _cannotStart = false;         // no further helper is to be tried

    std::mutex _mutex;                    // guards everything below, and the state of each directory
    std::condition_variable _hasWork;     // for helpers
    std::condition_variable _isWanted;    // for helpers that are too many for the pace
    std::condition_variable _hasRead;     // for the scan's thread
    std::vector<Directory*> _waiting;     // the nearest last
    std::vector<Directory*> _shared;      // with entries that nobody examines yet; the latest last
    std::vector<DirectoryListing> _spare; // memory for listings
    Directories _unexpected;              // begun with, and no directories any more when they were examined
    Pace _pace;
    size_t _entriesAhead = 0; // read and not yet taken
    unsigned _helpersAtWork = 0;
    bool _stops = false; // helpers end: the scan is over, or the process has no descriptors left for them
};

} // namespace snapshot
