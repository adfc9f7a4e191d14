// What stands between the file managers and the extension object: batches of badge requests, the
// directories that each host shows, coalesced change signals, menus per selection class, activations.
// There is no bus in it.
//
// A host is named by an opaque text; its directories are dropped when it goes.
//
// Threads: every public operation may be called from any thread and returns soon; answers and the sink's
// calls come from the model queue or from a background thread.
#pragma once

#include "extension/BadgeState.h"
#include "extension/FinderSync.h"
#include "extension/FinderSyncCommands.h"
#include "extension/commands.h"
#include "extension/selection_menu.h"
#include "host_service/HostSink.h"
#include "host_service/HostTables.h"
#include "host_service/LinkedDirectories.h"
#include "host_service/activation.h"
#include "platform/Clock.h"
#include "platform/ProcessLog.h"
#include "platform/Queue.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace host_service {

// Which badges the person wants to see. Synced folders themselves have theirs but with `none`.
enum class BadgeChoice {
    all,
    none,
    problems, // only what is wrong
    changes,  // all but what is in step
};

// By the name that it has in the settings and in the status; none: there is no such choice.
std::optional<BadgeChoice> badgeChoiceNamed(std::string_view name);

// What the person lets the file managers show.
struct Shown {
    BadgeChoice badges = BadgeChoice::all;
    bool menu = true;
};

// Why an item has its badge.
struct Explanation {
    std::string badge; // identifier, FINDER_SYNC_BADGE_NONE or …_UNCHANGED
    std::string rule;  // one word for the rule that decided
    std::string root;  // the deciding sync root, a path; empty: none
    std::string file;  // the file in flight that decides, a path; empty: none
};

class HostService final : public extension::ModelObserver {
  public:
    // Runs one chosen item's action to its end, and calls `done` once, then or later, on any thread.
    using Done = std::function<void(const extension::CommandOutcome&)>;
    using Perform = std::function<void(const extension::Command& command,
                                       const extension::CommandRequest& request, Done done)>;

    // All outlive this object; the model queue has run dry when it goes. Activations run one after the other,
    // those that ask a person on the panel queue, so that a panel left open holds up only other panels, and
    // the rest on the command queue. Menus, which ask the disk, are made on the background queue.
    struct Surroundings {
        extension::FinderSync& finderSync;
        HostTables& tables; // that object's controller
        HostSink& sink;
        platform::FileSystem& fileSystem;
        platform::ProcessLog& log;
        const platform::Clock& clock; // the model queue's delays go by it too
        platform::Queue& modelQueue;
        platform::Queue& backgroundQueue;
        platform::Queue& commandQueue;
        platform::Queue& panelQueue;
        Perform perform;
        std::function<void()> progressed =
            {}; // on the model queue, whenever the sink hears the same; or none
    };
    explicit HostService(const Surroundings& surroundings);

    // From now on, and the hosts are told to ask again. A badge that is not wanted is none, with its flags as
    // ever; without the menu every menu is one without items. Commands work either way.
    void setShown(Shown shown);

    // What the sync service cannot sync now, as local paths: these items, and the folders above them, show
    // "error" where they would show "sync". Any thread.
    void setProblems(std::vector<std::string> paths);

    // One answer for each URI, in order; anything but a file URI has no badge.
    void badges(std::vector<std::string> uris, std::function<void(extension::BadgeBatch)> answer);
    // With an item that is not a local file, the menu offers nothing.
    void menu(platform::FIMenuKind kind, std::vector<std::string> uris,
              std::function<void(platform::MenuHandle)> answer);
    void explain(std::string uri, std::function<void(Explanation)> answer);

    void beginObserving(const HostName& host, std::string uri);
    void endObserving(const HostName& host, std::string uri);
    // The host has measured that it was held up by its plugin, for so many microseconds at the longest.
    void heldUp(const HostName& host, std::uint64_t microseconds);
    // Drops what it observes and its panels: those that wait are never shown, and the one that is shown is
    // cancelled.
    void hostGone(const HostName& host);

    // The number under which the outcome comes later. None, with a message, when there is no such item, or
    // when something selected is not a local file, or when this host has too much under way.
    std::optional<std::uint64_t> activate(const Activation& activation, std::string& message);

    // The menu of each class of selections, by the class's name.
    std::vector<std::pair<std::string_view, platform::MenuHandle>> menusByClass() const;
    const HostTables& tables() const { return around.tables; }
    void status(std::function<void(platform::Dictionary)> answer);

    // The model's changes, on the model queue.
    void rootsChanged() override;
    void filesChanged(std::span<const std::string> paths) override;
    void daemonTold() override;

    // The disk has answered late: these items may have another badge now, or, when none is given, any may.
    void itemsAnswered(std::vector<std::string> paths);

  private:
    // A directory that at least one host shows. Hosts may spell it differently.
    struct Observed {
        // For each host, the URIs under which it shows the directory, and how often.
        std::map<HostName, std::map<std::string, unsigned>> hosts;
        bool everyItem = false;                    // pending: any item may have changed
        std::unordered_set<std::string> itemNames; // pending: these have
    };
    using Directories = std::unordered_map<std::string, Observed>;
    struct Host {
        std::unordered_set<Directories::value_type*> directories; // that it shows
        std::size_t count = 0;                                    // of its observations
        std::size_t bytes = 0;                                    // of their URIs
        std::uint64_t longest = 0; // microseconds that its plugin has held it up, as far as it told
    };

    struct Asking {
        HostName host;
        const extension::Command* command;
        extension::CommandRequest request;
        Done done;
    };
    Done doneOf(const HostName& host, std::uint64_t number);
    void askNext();
    void dropActivations(const HostName& host);

    void forget(const HostName& host);
    void release(Host& host, const HostName& name, Directories::value_type& directory, const std::string& uri,
                 unsigned count);
    bool isProblem(const platform::FileURL& item) const;
    // What of an answer is shown. Null: the item is no problem.
    void judge(const platform::FileURL* item, extension::BadgeAnswer& answer) const;
    // The URLs by the roots' own paths; none when one of the URIs is no file's.
    std::optional<std::vector<platform::FileURL>> selectionOf(const std::vector<std::string>& uris) const;
    // Finds out, on the background queue, whether directories that lie in no root lead into one.
    void lookWhereTheyLead(const std::vector<std::string>& keys);
    void leadsTo(const std::string& key, const std::string& own);
    // Notes that an item of that directory, both in standard form, may have another badge.
    void note(const std::string& directory, std::string_view item);
    void announceLater();
    void announce();
    void catchUpLater();
    void catchUp();

    const Surroundings around;
    std::atomic<bool> showsMenu = true; // written on the model queue

    std::mutex activationsLock; // guards all of these
    std::uint64_t lastActivation = 0;
    std::map<HostName, unsigned> underWay;            // activations that have not ended, of hosts on the bus
    std::list<Asking> waiting;                        // for the panel queue, which takes them one by one
    bool isAsking = false;                            // the panel queue is working on one
    HostName asking;                                  // whose panel is shown
    std::shared_ptr<platform::Cancellation> standing; // ends that panel

    LinkedDirectories links;

    // Model queue only.
    std::shared_ptr<const RootIdentities> identities; // null: the roots have changed since
    Directories observed;                             // by the directory's standard path
    std::map<HostName, Host> hosts;
    // The hosts that do not listen, and how often in a row they were found so. Any item of theirs may have
    // changed.
    std::map<HostName, unsigned> behind;
    bool isAnnouncing = false;     // an announcement is on its way
    bool isCatchingUp = false;     // a look at those behind is
    bool isToldOfProgress = false; // the sink will be told soon that something came of the daemon
    BadgeChoice choice = BadgeChoice::all;
    extension::PathsAndAncestors problems{std::make_shared<const std::vector<std::string>>()};
    platform::Clock::TimePoint lastAnnouncement;

    platform::Subscription observation; // last: it calls into all of the above
};

} // namespace host_service
