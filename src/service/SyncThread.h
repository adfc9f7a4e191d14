// The thread of one pair: a round at the start, when somebody asks, when something has changed here, and from
// time to time (service/Waits.h). What came of it is an immutable value that anybody may read.
#pragma once

#include "platform/Clock.h"
#include "platform/DirectoryEvents.h"
#include "platform/ProcessLog.h"
#include "service/PairSync.h"
#include "service/Waits.h"
#include "service/WatchedSpace.h"

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace service {

struct PairState {
    enum class Phase {
        looking, // for the first time, or after something was done
        waiting, // something has changed and has to rest, or was in the way
        working, // something is done, as `transfer` says
        inStep,
        paused,
        failed,
    };
    Phase phase = Phase::looking;
    std::string reason; // of a failure, for a person
    std::optional<Transfer> transfer;
    std::vector<PairSync::Problem> problems;       // of the last round
    std::shared_ptr<const WaitingLosses> waiting;  // for a person's word, after the last round; none: nothing
    std::optional<Trouble> trouble = std::nullopt; // of a failure
};

struct PairRoots {
    std::string remote; // plain
    std::string local;  // absolute
};

class SyncThread {
  public:
    struct Settings {
        std::string localRoot;  // absolute, as the table has it
        std::string remoteRoot; // plain
        std::filesystem::path database;
        std::string host;
        bool isPaused = false;
        std::chrono::days keepsFor{30}; // what downloads replaced; 0: for ever
        unsigned haste = 1;             // what changes rests for so many times less; at least 1
        // The plain remote paths that are left out now, each with what lies below. Asked at each round.
        std::function<std::set<std::string, std::less<>>()> excluded;
        // The roots of all other pairs: one that lies in this pair, on either side, is cut out of it on both.
        // Asked at each round. None: there are no others.
        std::function<std::vector<PairRoots>()> others;
        // The plain remote paths that alone are synced, each with what lies below. Asked at each round. None:
        // all. What goes here of those is then no deletion: it is forgotten.
        std::function<std::set<std::string, std::less<>>()> wanted;
    };
    struct Surroundings {
        RemoteSpace& space;
        DesktopTrash& trash;
        platform::DirectoryEvents* events; // none: what changes here is seen when it is looked at
        platform::ProcessLog& log;
        std::function<void()> changed; // the state has changed; on the pair's thread, no lock held
        std::function<void(const std::stop_token&)> rested; // a round ended in step; the same
        const platform::Clock& clock = platform::machineClock();
    };

    // Begins. All must outlive the object.
    SyncThread(Settings settings, Surroundings around);
    ~SyncThread();
    SyncThread(const SyncThread&) = delete;
    SyncThread& operator=(const SyncThread&) = delete;

    // Cancels the round in hand and waits for the thread. Not to be called by `changed`, so it is to be
    // called before the object goes where that may let go of it last.
    void end();

    const std::string& localRoot() const { return settings.localRoot; }
    // Where that led, links followed, when the object was made.
    const std::string& realRoot() const { return whereItLed; }
    std::shared_ptr<const PairState> state() const;

    // A round now, whatever it waits for.
    void ask();
    // The same, and a pair in step is "looking" from now until that round is over, so that whoever asked can
    // tell.
    void askVisibly();
    // Somebody looks at the folder: a pair in step is looked at when its last look is a minute old, or ten
    // times as long ago as that took.
    void observed();
    // What `waiting` listed is meant. False: another list waits by now, or none.
    bool confirm(const std::string& list);
    // What was agreed at and below a plain remote path is forgotten in the next round, also when that is one
    // of the next object with that database. So what was left out begins with a first sync, however soon it
    // is taken in again. Without effect but below the remote root. What `excluded` and `others` answer may be
    // another from this call on, and no earlier.
    void forget(const std::string& remotePath);
    // An event of a directory at or below the local root, or that events were lost.
    void noticed(const platform::DirectoryEvent& event);
    // Events wait until they are released. What they told is looked at then.
    void holdEvents(bool hold);
    // A pause cancels the round in hand.
    void setPaused(bool pause);

  private:
    struct Parts; // what a round needs; none while the folder is not there

    void run(const std::stop_token& stop);
    bool waitForTurn(const std::stop_token& stop);
    void round();
    Outcome<PairSync::Round> roundOf(const std::stop_token& stop);
    Outcome<Done> open(const std::stop_token& stop);
    void watchNewFolders();
    void settleFiles(const PairSync::Round& round);
    void settle(const Outcome<PairSync::Round>& outcome, Waits::Duration took);
    void publish(PairState next);
    void tell(const std::optional<Transfer>& transfer);

    // ---- What is not synced (SyncThread_leftOut.cpp)
    void readLeftOut();
    void readWanted();
    void forgetMissing();
    void forgetSinceLeftOut();
    std::filesystem::path listOfLeftOut() const;
    std::vector<std::string> readListLeftOut() const;
    std::map<std::string, LeftAlone, std::less<>> leftAloneNow() const;
    std::optional<std::string> keyOfRemote(const std::string& remotePath) const;
    std::optional<std::string> keyOfLocal(const std::string& localPath) const;
    bool isLeftOut(const std::string& path) const;
    bool isLeftOutByRule(const std::string& path) const;
    const LeftAlone* leftAlone(std::string_view key) const;

    const Settings settings;
    const Surroundings around;
    const std::string whereItLed;

    mutable std::mutex lock; // of all up to the next comment
    std::condition_variable_any wake;
    std::shared_ptr<const PairState> published = std::make_shared<PairState>();
    platform::Clock::TimePoint due;     // at first: at once
    platform::Clock::TimePoint soonest; // for what events ask
    platform::Clock::TimePoint dueIfObserved;
    std::stop_source current; // of the round in hand
    bool isAsked = false;
    bool isNoticed = false;
    std::vector<std::string> leftOut; // plain; to be forgotten. The file holds at least these.
    std::string confirmed;            // the list that the next round may do
    bool holdsEvents = false;
    bool isPaused = false;
    bool isMuchChanged = false; // more than `changed` holds
    Waits waits;
    std::set<std::string> newFolders;
    std::set<std::string> changed; // what events told of, relative to the local root

    // Of the thread alone.
    std::unique_ptr<Parts> parts;
    bool wasInStep = false; // after the last whole round
    bool isHurried = false; // the round in hand is one of `files` alone
    bool foldsCase = false;
    std::set<std::string> files; // relative to the local root; none is left when they are in step
    Waits::Duration lastLook{};
    platform::Clock::TimePoint filesDue{};
    platform::Clock::TimePoint soonestFiles{}; // for what events ask
    std::map<std::string, LeftAlone, std::less<>> leftAloneKeys;
    std::set<std::string, std::less<>> wantedKeys;
    platform::Clock::TimePoint lastTold;

    std::jthread thread; // last: it uses the rest
};

} // namespace service
