// Brings single items into the space and down from it, one after the other, on a thread of its own: copies,
// moves, which end in the desktop's trash here, empty folders of the uploading folder, and downloads.
//
// An item lies complete under a private name before it gets its own, and never another one's: a taken name
// gets a number. What changes while it goes up is not placed and not thrown away.
//
// What waits or is in hand stands in a file, a line of JSON for each that came, for each that is about to get
// its name and for each that is over. The next object with that file begins it again, unless it finds it in
// its place.
#pragma once

#include "platform/ProcessLog.h"
#include "service/PairSync.h"
#include "service/WatchedSpace.h"

#include <condition_variable>
#include <deque>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace service {

class Carrier {
  public:
    // Numbers are on disks: they never change.
    enum class Kind {
        copy = 0,     // into a folder of the space
        move = 1,     // the same, and away from here
        folder = 2,   // an empty folder, made in the space and removed here
        download = 3, // an item of the space into a folder here
    };
    struct Task {
        Kind kind = Kind::copy;
        std::string localPath;  // absolute; of a download the folder that it goes to
        std::string remotePath; // plain; the folder that it goes to, of a download the item
        friend bool operator==(const Task&, const Task&) = default;
    };

    // `changed` is called on the carrier's thread, no lock held. All must outlive the object.
    Carrier(RemoteSpace& realSpace, DesktopTrash& desktopTrash, platform::ProcessLog& processLog,
            std::function<void()> changed, bool isPaused, std::filesystem::path listFile);
    ~Carrier(); // what is in hand is cancelled, and stays in the list

    void add(Task task); // unless an equal one waits or is in hand
    // A pause ends the transfer in hand, which begins again after it.
    void setPaused(bool pause);
    std::vector<Task> tasks() const; // the one in hand first
    std::optional<Transfer> transfer() const;

    // What is about to get its name: whether it did can be told afterwards.
    struct Placing {
        std::string privatePath;
        std::string place;
        bool isFolder = false;
        std::uint64_t size = 0; // of a file, as the storage tells it of the private one; the same the next
        std::int64_t modified = 0;
        std::string record; // of what went up, as it is here
    };
    struct List {
        std::deque<Task> tasks;
        std::vector<std::pair<Task, Placing>> placings; // of some of them
    };

  private:
    void run(const std::stop_token& stop);
    void note(const Task& task, bool isOver); // with the lock
    void notePlacing(const Task& task, const Placing& placing);
    void write(const std::string& line, bool isLast); // with the lock
    Outcome<bool> isPlaced(const Placing& placing);
    void discard(const Placing& placing);
    Outcome<Done> finish(const Task& task, const Placing& placing);
    Outcome<Done> carry(const Task& task);
    Outcome<Done> bringOneUp(const Task& task);
    Outcome<Done> makeOneFolder(const Task& task);
    Outcome<Done> bringOneDown(const Task& task);
    Outcome<Placing> bringUpUnchanged(const std::string& localPath, bool isFolder);
    Outcome<Done> bringUp(const std::string& localPath, const std::string& remotePath);
    Outcome<Done> bringTreeDown(const std::string& remotePath, const std::filesystem::path& folder);
    Outcome<std::string> freePath(const std::string& folder, const std::string& name);

    WatchedSpace space;
    DesktopTrash& trash;
    platform::ProcessLog& log;
    const std::function<void()> changed;
    const std::filesystem::path list;
    const std::string privateWord; // makes this process's private names its own
    std::uint64_t lastPrivate = 0;
    std::stop_token ending;       // of the thread
    std::stop_token transferring; // of the transfer in hand: also a pause ends it

    mutable std::mutex lock; // of all below
    std::condition_variable_any wake;
    List left; // by an earlier object; its tasks wait from the start
    std::deque<Task> waiting;
    std::optional<Task> inHand;
    std::optional<Transfer> onItsWay;
    std::stop_source current;
    bool paused;
    std::jthread thread; // last: it uses the rest
};

// A name for the n-th attempt: "a.txt", "a (2).txt", ….
std::string numberedName(const std::string& name, int number);

} // namespace service
