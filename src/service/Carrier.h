// Brings single items of this machine into the space, one after the other, on a thread of its own: copies,
// and moves, which end in the desktop's trash here.
//
// An item lies complete under a private name before it gets its own, and never another one's: a taken name
// gets a number. What changed while it went up is not thrown away here.
#pragma once

#include "platform/ProcessLog.h"
#include "service/PairSync.h"
#include "service/WatchedSpace.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace service {

class Carrier {
  public:
    struct Task {
        std::string localPath;    // absolute
        std::string remoteFolder; // plain
        bool isMove = false;
        friend bool operator==(const Task&, const Task&) = default;
    };

    // `changed` is called on the carrier's thread, no lock held. All must outlive the object.
    Carrier(RemoteSpace& realSpace, DesktopTrash& desktopTrash, platform::ProcessLog& processLog,
            std::function<void()> changed);
    ~Carrier(); // what is in hand is cancelled, and what waits is lost

    void add(Task task);
    std::vector<Task> tasks() const; // the one in hand first
    std::optional<Transfer> transfer() const;

  private:
    void run(const std::stop_token& stop);
    Outcome<Done> carry(const Task& task, const std::stop_token& stop);
    Outcome<Done> bringUp(const std::string& localPath, const std::string& remotePath,
                          const std::stop_token& stop);
    Outcome<std::string> freePath(const std::string& folder, const std::string& name,
                                  const std::stop_token& stop);

    WatchedSpace space;
    DesktopTrash& trash;
    platform::ProcessLog& log;
    const std::function<void()> changed;
    const std::string privateWord; // makes this process's private names its own
    std::uint64_t lastPrivate = 0;

    mutable std::mutex lock; // of all below
    std::condition_variable_any wake;
    std::deque<Task> waiting;
    std::optional<Task> inHand;
    std::optional<Transfer> onItsWay;
    std::jthread thread; // last: it uses the rest
};

} // namespace service
