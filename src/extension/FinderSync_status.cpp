// What the daemon's refresh notification, or the polling refresh, does to the model and the badges.
#include "extension/FinderSync.h"

#include <algorithm>
#include <unordered_set>

namespace extension {
namespace {

using daemon_client::SyncStatus;

// Paths whose walks are planned before the disk is asked, once for all of them.
constexpr std::size_t pathsAtATime = 1000;

PathList noPaths() {
    static const PathList none = std::make_shared<const std::vector<std::string>>();
    return none;
}

// The paths of one sorted list that are not in the other.
std::vector<std::string> difference(const std::vector<std::string>& of,
                                    const std::vector<std::string>& without) {
    const std::unordered_set<std::string_view> known(without.begin(), without.end());
    std::vector<std::string> rest;
    for (const std::string& path : of)
        if (!known.contains(path)) rest.push_back(path);
    return rest;
}

} // namespace

// On the centre's delivery thread: with many files in flight this takes longer than all that comes after.
FinderSync::Refresh FinderSync::decodeRefresh(const platform::Notification& notification) {
    const platform::Dictionary* paths = platform::dictionaryAt(notification.userInfo, "allPathsInSync");
    const platform::Dictionary* status = platform::dictionaryAt(notification.userInfo, "statusInfo");
    Refresh refresh;
    if (paths != nullptr)
        refresh.allPathsInSync = std::make_shared<const Table>(daemon_client::syncPathTableOf(*paths));
    if (status != nullptr) refresh.statusInfo = daemon_client::syncStatusOf(*status);
    return refresh;
}

void FinderSync::onSyncStatusRefresh(Refresh refresh) {
    {
        const std::lock_guard guard(objectLock);
        _allPathsInSync = std::move(refresh.allPathsInSync);
    }
    _syncStatusInfo = std::move(refresh.statusInfo);
    refreshSyncStatus();
    if (ModelObserver* const told = observer) told->daemonTold();
}

void FinderSync::refreshSyncStatus() {
    const auto current = table();
    const WatchedPaths& watched = badgeState()->watchedPaths();
    const std::size_t values = current ? current->paths.table.size() : 0;
    if (watched.empty() || values != watched.size() || watched != current->watched) setInclusionPaths();
    if (badgeState()->watchedPaths().empty()) return;
    if (_pauseRefreshInterface) {
        around.log.info("pauseRefreshInterface");
        return;
    }
    if (_syncStatusInfo) applyStatus(*_syncStatusInfo, true);
}

void FinderSync::applyStatus(const SyncStatus& status, bool withLogs) {
    if (status.status == daemon_client::syncStatusCompleted)
        applyCompleted(withLogs);
    else if (status.status == daemon_client::syncStatusTransfer)
        applyTransfer(status);
}

void FinderSync::applyCompleted(bool withLogs) {
    const auto before = badgeState();
    const PathList working = before->workingFiles();
    const PathList uploading = before->uploadingFiles();
    if (working->empty() && uploading->empty()) return;
    publish(before->withFiles(noPaths(), noPaths()));
    setBadgeAndWalk("sync", *working, withLogs ? "Set Badge to working Path =======> " : "");
    setBadgeAndWalk("sync", *uploading, withLogs ? "Set Badge to uploading Path =======> " : "");
    if (ModelObserver* const told = observer) {
        told->filesChanged(*working);
        told->filesChanged(*uploading);
    }
}

void FinderSync::applyTransfer(const SyncStatus& status) {
    const auto before = badgeState();
    const PathList old = before->uploadingFiles();
    const PathList next = *old == status.uploadingPaths
                              ? old
                              : std::make_shared<const std::vector<std::string>>(status.uploadingPaths);
    const std::vector<std::string> finished = difference(*old, *next);
    if (next != old) publish(before->withFiles(next, before->workingFiles()));
    if (around.controller.showsSingleBadges())
        for (const std::string& path : finished)
            set("sync", path);
    setBadgeAndWalk("upload", *next, "");
    if (ModelObserver* const told = observer; told != nullptr && next != old) {
        told->filesChanged(finished);
        told->filesChanged(difference(*next, *old));
    }
}

void FinderSync::setBadgeAndWalk(std::string_view identifier, std::span<const std::string> paths,
                                 std::string_view logText) {
    if (!tellsSingleBadges()) return;
    struct Step {
        std::string_view path;
        std::optional<BadgeRule> rule; // none: a path's walk starts, and gives it the badge itself
    };
    const auto current = badgeState();
    std::vector<Step> steps;
    std::vector<std::string_view> asked;
    for (; !paths.empty(); paths = paths.subspan(std::min(pathsAtATime, paths.size()))) {
        steps.clear();
        asked.clear();
        for (const std::string& path : paths.first(std::min(pathsAtATime, paths.size()))) {
            steps.push_back({path, std::nullopt});
            current->forEachUpwards(platform::FileURL::withoutEndingSeparators(path),
                                    [&](std::string_view level, BadgeRule rule) {
                                        steps.push_back({level, rule});
                                        if (rule == BadgeRule::existing) asked.push_back(level);
                                    });
        }
        const std::vector<platform::Existence> existence =
            asked.empty() ? std::vector<platform::Existence>() : around.fileSystem.existence(asked);
        auto answer = existence.begin();
        for (const Step& step : steps) {
            if (!step.rule) {
                if (!logText.empty()) around.log.debug(logText, step.path);
                set(identifier, step.path);
                continue;
            }
            logRequest(*current);
            if (step.rule != BadgeRule::existing || *answer++ == platform::Existence::exists)
                set(badgeOf(*step.rule), step.path);
        }
    }
}

void FinderSync::refreshInterface() {
    waitForDaemon(
        [this] { around.modelQueue.dispatchAndWait([this] { publish(badgeState()->withRoots({})); }); });
    bool goesOn = true;
    around.modelQueue.dispatchAndWait([this, &goesOn] {
        if (badgeState()->watchedPaths().empty()) setInclusionPaths();
        goesOn = !badgeState()->watchedPaths().empty();
    });
    if (!goesOn) return;
    if (_pauseRefreshInterface) {
        around.log.info("pauseRefreshInterface");
    } else {
        const auto status = _client.getSyncStatus();
        around.log.info("TSyncFinder tsync status ", status);
        around.modelQueue.dispatchAndWait([this, &status] {
            if (status) applyStatus(daemon_client::syncStatusOf(*status), false);
        });
    }
    around.backgroundQueue.dispatchAfter(std::chrono::seconds(1), [this] { refreshInterface(); });
}

} // namespace extension
