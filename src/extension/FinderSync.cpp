#include "extension/FinderSync.h"

#include "extension/tree_walk.h"
#include "foundation/path_strings.h"
#include "protocol/names.h"

namespace extension {
namespace {

using platform::Existence;
using platform::FileURL;

constexpr std::string_view volumesFolder = "/Volumes";
constexpr std::chrono::seconds waitBetweenAttempts{1};

// How the log shows the watched roots.
platform::Value describe(const WatchedPaths& roots) {
    platform::Array paths;
    for (const FileURL& root : roots)
        paths.emplace_back(root.uri());
    return paths;
}

} // namespace

FinderSync::FinderSync(const FinderSyncPlatform& platform, daemon_client::TSyncClient& client,
                       ModelObserver* modelObserver)
    : controller(platform.controller), distributedCenter(platform.distributedCenter),
      fileSystem(platform.fileSystem), resources(platform.resources), log(platform.log),
      clock(platform.clock), modelQueue(platform.modelQueue), backgroundQueue(platform.backgroundQueue),
      observer(modelObserver), _client(client), state(std::make_shared<const BadgeState>()) {
    log.info("TSyncFinderSync started");
    log.info("TSyncFinderSync Client ", _client.description());
    waitForDaemon([this] { controller.setDirectoryURLs(std::nullopt); });
    // What arrives meanwhile queues up behind.
    modelQueue.dispatchAndWait([this] { startUp(); });
}

FinderSync::~FinderSync() = default;

// Without a limit: a daemon that is started later finds the extension waiting.
void FinderSync::waitForDaemon(const std::function<void()>& beforeEachPause) {
    if (_client.daemonIsReady()) return;
    do {
        log.info("Waiting for tsyncquenz daemon");
        beforeEachPause();
        clock.sleepFor(waitBetweenAttempts);
    } while (!_client.daemonIsReady());
}

void FinderSync::startUp() {
    const auto observe = [this](const char* name, auto handler) {
        observers.push_back(
            distributedCenter.addObserver(name, [this, handler](const platform::Notification& notification) {
                modelQueue.dispatch([handler, notification] { handler(notification); });
            }));
    };
    observe(TSYNC_NOTE_SYNC_PATH_ADDED, [this](const auto&) { onSyncPathAdded(); });
    observe(TSYNC_NOTE_SYNC_PATH_REMOVED,
            [this](const auto& notification) { onSyncPathRemoved(notification); });
    observe(TSYNC_NOTE_SYNC_REFRESH, [this](const auto& notification) { onSyncStatusRefresh(notification); });

    std::set<FileURL> directories;
    const auto watch = [&directories](std::string_view path) {
        if (const auto url = FileURL::withPath(path)) directories.insert(*url);
    };
    for (const std::string& name : fileSystem.entryNames(volumesFolder)) {
        log.info("Adding Volume: ", name);
        watch(foundation::stringByAppendingPathComponent(volumesFolder, name));
    }
    watch("/");
    controller.setDirectoryURLs(std::move(directories));

    _pauseRefreshInterface = false;
    num_of_observerd_paths = 0;
    log.info("TSyncFinderSync connected to tsyncquenz");
    setInclusionPaths();
    for (const Badge& badge : badges) {
        const auto path = resources.pathForImage(badge.imageFile);
        controller.setBadgeImage(path ? platform::imageNamed(*path) : nullptr, badge.label, badge.identifier);
    }
}

void FinderSync::beginObservingDirectoryAtURL(const FileURL& directory) {
    log.info("beginObservingDirectoryAtURL:", directory.path());
    ++num_of_observerd_paths;
    _pauseRefreshInterface = false;
}

void FinderSync::endObservingDirectoryAtURL(const FileURL& directory) {
    log.info("endObservingDirectoryAtURL:", directory.uri());
    --num_of_observerd_paths;
}

std::shared_ptr<const BadgeState> FinderSync::badgeState() const {
    const std::lock_guard guard(stateLock);
    return state;
}

void FinderSync::publish(std::shared_ptr<const BadgeState> next) {
    const std::lock_guard guard(stateLock);
    state = std::move(next);
}

std::shared_ptr<const FinderSync::Table> FinderSync::table() const {
    const std::lock_guard guard(objectLock);
    return _allPathsInSync;
}

std::shared_ptr<const daemon_client::SyncPathTable> FinderSync::allPathsInSync() const {
    const auto current = table();
    return current ? std::shared_ptr<const daemon_client::SyncPathTable>(current, &current->all) : nullptr;
}

bool FinderSync::isPathInSync(std::string_view path, bool& isBasePathOfSync) const {
    const auto current = table();
    return daemon_client::isPathInSync(current ? current->localRoots : daemon_client::LocalRoots(), path,
                                       isBasePathOfSync);
}

std::optional<std::string> FinderSync::remotePathOfLocalSyncPath(std::optional<std::string_view> path) const {
    const auto current = table();
    return current && path ? daemon_client::remotePathOfLocalSyncPath(current->all, *path) : std::nullopt;
}

// --- badges

void FinderSync::set(std::string_view identifier, std::string_view path) {
    if (const auto item = FileURL::withPath(path)) controller.setBadgeIdentifier(identifier, *item);
}

void FinderSync::requestBadgeIdentifierForURL(const FileURL& item) {
    const auto current = badgeState();
    if (log.isOn(platform::LogLevel::debug))
        log.debug("@requestBadgeIdentifierForURL watched Paths ", describe(current->watchedPaths()));
    const BadgeRule rule = current->rule(item);
    if (rule == BadgeRule::existing) {
        const std::string_view path = item.path();
        if (fileSystem.existence({&path, 1}).front() != Existence::exists) return;
    }
    controller.setBadgeIdentifier(badgeOf(rule), item);
}

std::vector<BadgeAnswer> FinderSync::badgesForItems(std::span<const FileURL> items) {
    const auto current = badgeState();
    const auto currentTable = table();
    std::vector<BadgeAnswer> answers(items.size());
    std::vector<std::string_view> asked; // of the disk
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (log.isOn(platform::LogLevel::debug))
            log.debug("@requestBadgeIdentifierForURL watched Paths ", describe(current->watchedPaths()));
        const BadgeRule rule = current->rule(items[i]);
        answers[i].identifier = badgeOf(rule);
        if (currentTable)
            answers[i].isInSync =
                daemon_client::isPathInSync(currentTable->localRoots, items[i].path(), answers[i].isRoot);
        answers[i].isRoot = answers[i].isRoot && answers[i].isInSync;
        if (rule == BadgeRule::existing) {
            asked.push_back(items[i].path());
            places.push_back(i);
        }
    }
    if (asked.empty()) return answers;
    const std::vector<Existence> existence = fileSystem.existence(asked);
    for (std::size_t i = 0; i < places.size(); ++i)
        if (existence[i] != Existence::exists) answers[places[i]].kind = BadgeAnswer::Kind::unchanged;
    return answers;
}

// --- watched roots

void FinderSync::setInclusionPaths() {
    const auto current = table();
    WatchedPaths roots;
    std::vector<FileURL> badged; // one for each entry of the table
    if (current) {
        for (const auto& [remoteRoot, localRoot] : current->all) {
            if (auto root = FileURL::withPath(localRoot)) {
                roots.insert(*root);
                badged.push_back(std::move(*root));
            }
        }
    }
    const auto before = badgeState();
    publish(before->withRoots(std::move(roots)));
    for (const FileURL& root : badged)
        requestBadgeIdentifierForURL(root);
    if (observer != nullptr) observer->rootsChanged();
}

void FinderSync::onSyncPathAdded() {
    log.info("TSyncFinder Received SyncPath Added Notification ===================>");
    const std::lock_guard guard(objectLock);
    setInclusionPaths();
}

void FinderSync::onSyncPathRemoved(const platform::Notification& notification) {
    log.info("TSyncFinder Received SyncPath Removed Notification -------------------->");
    const std::string* localPath = platform::textAt(notification.userInfo, "localPath");
    if (localPath == nullptr || !FileURL::withPath(*localPath)) {
        log.error("TSyncFinder Removed Path: the notification names no local path");
        return;
    }
    const std::string& removed = *localPath;
    const std::lock_guard guard(objectLock);
    log.info("TSyncFinder Removed Path: ", removed);
    set("", removed);

    const auto before = badgeState();
    WatchedPaths roots = before->watchedPaths();
    if (_allPathsInSync && _allPathsInSync->localRoots.contains(removed))
        roots.erase(*FileURL::withPath(removed));
    const auto next = before->withRoots(std::move(roots));
    publish(next);
    // The walk asks the disk, which may hang: it runs beside the queue and hands back what it finds.
    backgroundQueue.dispatch(
        [this, removed, sequence = next->sequence()] { clearBadgesBelow(removed, sequence); });
    if (observer != nullptr) observer->rootsChanged();
}

void FinderSync::removeBadgeOfChildPath(const std::string& folder) {
    clearBadgesBelow(folder, badgeState()->sequence());
}

void FinderSync::clearBadgesBelow(const std::string& folder, std::uint64_t sequence) {
    constexpr std::size_t sliceSize = 256;
    std::vector<std::string> slice;
    const auto handBack = [&] {
        modelQueue.dispatch([this, paths = std::move(slice), sequence] { clearBadges(paths, sequence); });
        slice.clear();
    };
    forEachItemBelow(fileSystem, folder, [&](std::string path) {
        slice.push_back(std::move(path));
        if (slice.size() == sliceSize) handBack();
    });
    if (!slice.empty()) handBack();
}

// On the model queue. When the state has changed since, the rules of the new one give the badge: an item may
// be in a root again.
void FinderSync::clearBadges(const std::vector<std::string>& paths, std::uint64_t sequence) {
    const bool isCurrent = badgeState()->sequence() == sequence;
    for (const std::string& path : paths) {
        log.debug("TSyncFinder Removing child Path: ", path);
        if (isCurrent)
            set("", path);
        else if (const auto item = FileURL::withPath(path))
            requestBadgeIdentifierForURL(*item);
    }
}

} // namespace extension
