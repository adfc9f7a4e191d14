// The extension's principal object: it follows the daemon's notifications, keeps the sync-status model,
// sets badges on the controller and makes the menus.
//
// The model changes on the model queue only: the notification handlers and the hosts' badge batches run
// there in the order in which they arrive, so that a badge computed from an older state never lands after
// a newer one. The state that decides badges is one immutable value, replaced whole.
//
// Threads: badge requests and the observing callbacks are called on the model queue, menus from any
// thread. The lookups of menus and commands read the table through a copy taken under the object's lock.
// The constructor waits for the daemon client to be ready, as long as it takes.
#pragma once

#include "daemon_client/SyncPathTable.h"
#include "daemon_client/SyncStatus.h"
#include "daemon_client/TSyncClient.h"
#include "daemon_client/sync_path_mapping.h"
#include "extension/BadgeState.h"
#include "extension/badges.h"
#include "extension/selection_menu.h"
#include "platform/Clock.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/FIFinderSync.h"
#include "platform/FileSystem.h"
#include "platform/ProcessLog.h"
#include "platform/Queue.h"
#include "platform/ResourceBundle.h"
#include "platform/Subscription.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace extension {

// Learns what a change of the model touched, on the model queue, after the new state stands.
class ModelObserver {
  public:
    // Any item's badge or menu may have changed.
    virtual void rootsChanged() = 0;
    // Items at or above these paths may have changed their badge.
    virtual void filesChanged(std::span<const std::string> paths) = 0;
    // The daemon has told of itself, whether or not that touched a badge.
    virtual void daemonTold() = 0;

  protected:
    ~ModelObserver() = default;
};

class FinderSync final : public platform::FIFinderSync {
  public:
    // Everything outlives this object. The queues have run dry and the file system has no question open when
    // it is destroyed.
    struct Surroundings {
        platform::FIFinderSyncController& controller;
        platform::DistributedNotificationCenter& distributedCenter;
        platform::FileSystem& fileSystem;
        platform::ResourceBundle& resources;
        platform::ProcessLog& log;
        platform::Clock& clock;
        platform::Queue& modelQueue;
        platform::Queue& backgroundQueue; // polling
        platform::Queue& walkQueue;       // serial: the walks below removed roots
        // Gives the client, which start-up asks for once it has said that it starts.
        std::function<daemon_client::TSyncClient&()> client;
    };

    // The `init`.
    explicit FinderSync(const Surroundings& surroundings);
    ~FinderSync() override;
    FinderSync(const FinderSync&) = delete;
    FinderSync& operator=(const FinderSync&) = delete;

    // Tells the observer, the only one, of each change until the subscription goes. It may be telling it just
    // then, on the model queue.
    [[nodiscard]] platform::Subscription observe(ModelObserver& modelObserver);

    void beginObservingDirectoryAtURL(const platform::FileURL& directory) override;
    void endObservingDirectoryAtURL(const platform::FileURL& directory) override;
    void requestBadgeIdentifierForURL(const platform::FileURL& item) override;
    platform::MenuHandle menuForMenuKind(platform::FIMenuKind kind,
                                         const std::vector<platform::FileURL>& selectedItemURLs) override;

    // The menu that a selection of that class gets.
    platform::MenuHandle menuOfClass(SelectionClass selectionClass) const;

    // The badges of many items by the same rules, without telling the controller. Called on the model queue,
    // which goes on while the disk is asked; `answer` runs on it once, with a state that is then the current
    // one. What the disk does not tell in time is "unchanged".
    using BatchHandler = std::function<void(BadgeBatch batch)>;
    void badgesForItems(std::vector<platform::FileURL> items, BatchHandler answer);

    // The state that decides now. Any thread.
    std::shared_ptr<const BadgeState> badgeState() const;

    // The lookups on the object's own table; no connection is needed.
    bool isPathInSync(std::string_view path, bool& isBasePathOfSync) const;
    std::optional<std::string> remotePathOfLocalSyncPath(std::optional<std::string_view> path) const;
    // The table as it is now; null before the first refresh.
    std::shared_ptr<const daemon_client::SyncPathTable> allPathsInSync() const;

    // While true, status application is skipped. Any thread.
    bool pauseRefreshInterface() const { return _pauseRefreshInterface; }
    void setPauseRefreshInterface(bool pause) { _pauseRefreshInterface = pause; }

    // One cycle of the polling refresh, which schedules the next one; the badges follow the daemon's
    // notifications without it. Never on the model queue: it waits for it.
    void refreshInterface();

    // Makes the watched roots from the table again, and badges each. On the model queue.
    void setInclusionPaths();
    // Reconciles the watched roots, then applies the stored status. On the model queue.
    void refreshSyncStatus();
    // Clears the badge of everything beneath a folder, depth first; links to directories are followed. Any
    // thread but one on which the model queue waits. It ends early when the watched roots are made again,
    // since the file managers then ask again, and after a million items.
    void removeBadgeOfChildPath(const std::string& folder);

    std::int32_t numberOfObservedPaths() const { return num_of_observerd_paths; }

  private:
    // A sync path table with what is looked up in it, made once.
    struct Table {
        explicit Table(daemon_client::SyncPathTable table);
        daemon_client::SyncPaths paths;
        WatchedPaths watched; // one for each local root that names something on this machine
    };
    // A refresh notification, decoded before it comes to the model queue. Null, none: absent.
    struct Refresh {
        std::shared_ptr<const Table> allPathsInSync;
        std::optional<daemon_client::SyncStatus> statusInfo;
    };
    // Items that wait for their badges.
    struct Batch {
        std::vector<platform::FileURL> items;
        std::vector<std::optional<platform::Existence>> existence; // none: not asked for yet
        BatchHandler answer;
        int questions = 0;
    };

    void waitForDaemon(const std::function<void()>& beforeEachPause);
    void startUp();
    void onSyncPathAdded();
    void onSyncPathRemoved(const platform::Notification& notification);
    static Refresh decodeRefresh(const platform::Notification& notification);
    void onSyncStatusRefresh(Refresh refresh);
    void applyStatus(const daemon_client::SyncStatus& status, bool withLogs);
    void applyTransfer(const daemon_client::SyncStatus& status);
    void applyCompleted(bool withLogs);
    // Gives the paths the badge, each followed by the walk that badges it and its ancestors by the rules.
    void setBadgeAndWalk(std::string_view identifier, std::span<const std::string> paths,
                         std::string_view logText);
    void set(std::string_view identifier, std::string_view path);
    void publish(std::shared_ptr<const BadgeState> next);
    void answerOrAsk(const std::shared_ptr<Batch>& batch);
    // Whether anybody sees single badges, or the log's lines about them.
    bool tellsSingleBadges() const;
    void logRequest(const BadgeState& current);
    // The walk below a removed root, for the state of that sequence number and the roots made at that time.
    void clearBadgesBelow(const std::string& folder, std::uint64_t sequence, std::uint64_t inclusion);
    void clearBadges(const std::vector<std::string>& paths, std::uint64_t sequence);
    std::shared_ptr<const Table> table() const;

    Surroundings around;
    daemon_client::TSyncClient& _client;
    std::atomic<bool> _pauseRefreshInterface = false;
    std::atomic<std::int32_t> num_of_observerd_paths = 0;

    mutable std::recursive_mutex objectLock;
    std::shared_ptr<const Table> _allPathsInSync;             // guarded by the object's lock; null: none yet
    std::optional<daemon_client::SyncStatus> _syncStatusInfo; // model queue only
    std::atomic<std::uint64_t> inclusions = 0; // how often the watched roots were made from a table

    mutable std::mutex stateLock;
    std::shared_ptr<const BadgeState> state; // guarded by the state lock; written on the model queue only

    std::atomic<ModelObserver*> observer = nullptr; // null: nobody wants to know

    std::vector<platform::Subscription> observers; // last: they call into all of the above
};

} // namespace extension
