#include "extension/FinderSync.h"

#include "extension/tree_walk.h"
#include "paths/path_strings.h"
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

FinderSync::FinderSync(const Surroundings& surroundings)
    : around(surroundings),
      // The first line of the log is the extension's own, before those of the client that it makes.
      _client((around.log.info("TSyncFinderSync started"), around.client())),
      state(std::make_shared<const BadgeState>()) {
    around.log.info("TSyncFinderSync Client ", _client.description());
    waitForDaemon([this] { around.controller.setDirectoryURLs(std::nullopt); });
    // What arrives meanwhile queues up behind.
    around.modelQueue.dispatchAndWait([this] { startUp(); });
}

FinderSync::~FinderSync() = default;

// Without a limit: a daemon that is started later finds the extension waiting.
void FinderSync::waitForDaemon(const std::function<void()>& beforeEachPause) {
    if (_client.daemonIsReady()) return;
    do {
        around.log.info("Waiting for tsyncquenz daemon");
        beforeEachPause();
        around.clock.sleepFor(waitBetweenAttempts);
    } while (!_client.daemonIsReady());
}

void FinderSync::startUp() {
    const auto observe = [this](const char* name, platform::NotificationHandler handler) {
        observers.push_back(around.distributedCenter.addObserver(name, std::move(handler)));
    };
    observe(TSYNC_NOTE_SYNC_PATH_ADDED,
            [this](const auto&) { around.modelQueue.dispatch([this] { onSyncPathAdded(); }); });
    observe(TSYNC_NOTE_SYNC_PATH_REMOVED, [this](const auto& notification) {
        around.modelQueue.dispatch([this, notification] { onSyncPathRemoved(notification); });
    });
    observe(TSYNC_NOTE_SYNC_REFRESH, [this](const auto& notification) {
        around.modelQueue.dispatch([this, refresh = decodeRefresh(notification)]() mutable {
            onSyncStatusRefresh(std::move(refresh));
        });
    });

    std::set<FileURL> directories;
    const auto watch = [&directories](std::string_view path) {
        if (const auto url = FileURL::withPath(path)) directories.insert(*url);
    };
    for (const std::string& name : around.fileSystem.entryNames(volumesFolder)) {
        around.log.info("Adding Volume: ", name);
        watch(paths::stringByAppendingPathComponent(volumesFolder, name));
    }
    watch("/");
    around.controller.setDirectoryURLs(std::move(directories));

    _pauseRefreshInterface = false;
    num_of_observerd_paths = 0;
    around.log.info("TSyncFinderSync connected to tsyncquenz");
    setInclusionPaths();
    for (const Badge& badge : badges) {
        const auto path = around.resources.pathForImage(badge.imageFile);
        around.controller.setBadgeImage(path ? platform::imageNamed(*path) : nullptr, badge.label,
                                        badge.identifier);
    }
}

platform::Subscription FinderSync::observe(ModelObserver& modelObserver) {
    observer = &modelObserver;
    return platform::Subscription([this] { observer = nullptr; });
}

void FinderSync::beginObservingDirectoryAtURL(const FileURL& directory) {
    around.log.info("beginObservingDirectoryAtURL:", directory.uri());
    ++num_of_observerd_paths;
    _pauseRefreshInterface = false;
}

void FinderSync::endObservingDirectoryAtURL(const FileURL& directory) {
    around.log.info("endObservingDirectoryAtURL:", directory.uri());
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
    return current ? std::shared_ptr<const daemon_client::SyncPathTable>(current, &current->paths.table)
                   : nullptr;
}

bool FinderSync::isPathInSync(std::string_view path, bool& isBasePathOfSync) const {
    const auto current = table();
    return daemon_client::isPathInSync(current ? &current->paths : nullptr, path, isBasePathOfSync);
}

std::optional<std::string> FinderSync::remotePathOfLocalSyncPath(std::optional<std::string_view> path) const {
    const auto current = table();
    return current && path ? daemon_client::remotePathOfLocalSyncPath(current->paths.table, *path)
                           : std::nullopt;
}

// --- badges

void FinderSync::set(std::string_view identifier, std::string_view path) {
    if (const auto item = FileURL::withPath(path)) around.controller.setBadgeIdentifier(identifier, *item);
}

bool FinderSync::tellsSingleBadges() const {
    return around.controller.showsSingleBadges() || around.log.isOn(platform::LogLevel::debug);
}

void FinderSync::logRequest(const BadgeState& current) {
    if (around.log.isOn(platform::LogLevel::debug))
        around.log.debug("@requestBadgeIdentifierForURL watched Paths ", describe(current.watchedPaths()));
}

void FinderSync::requestBadgeIdentifierForURL(const FileURL& item) {
    const auto current = badgeState();
    logRequest(*current);
    const BadgeRule rule = current->rule(item);
    if (rule == BadgeRule::existing) {
        const std::string_view path = item.path();
        if (around.fileSystem.existence({&path, 1}).front() != Existence::exists) return;
    }
    around.controller.setBadgeIdentifier(badgeOf(rule), item);
}

void FinderSync::badgesForItems(std::vector<FileURL> items, BatchHandler answer) {
    const auto batch = std::make_shared<Batch>();
    batch->existence.resize(items.size());
    batch->items = std::move(items);
    batch->answer = std::move(answer);
    const auto current = badgeState();
    for (std::size_t i = 0; i < batch->items.size(); ++i)
        logRequest(*current);
    answerOrAsk(batch);
}

// By the current state each time: it may have changed while the disk was asked.
void FinderSync::answerOrAsk(const std::shared_ptr<Batch>& batch) {
    // A state that keeps changing must not keep a host waiting: then the rest is "unchanged", and the host is
    // told of each change anyway.
    constexpr int maximumQuestions = 2;
    const auto current = badgeState();
    const auto currentTable = table();
    const daemon_client::SyncPaths* paths = currentTable ? &currentTable->paths : nullptr;
    BadgeBatch answers{current->sequence(), std::vector<BadgeAnswer>(batch->items.size())};
    std::vector<std::string> asked; // of the disk
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < batch->items.size(); ++i) {
        const FileURL& item = batch->items[i];
        BadgeAnswer& answer = answers.answers[i];
        const BadgeRule rule = current->rule(item);
        answer.identifier = badgeOf(rule);
        bool isBase = false;
        answer.isInSync = daemon_client::isPathInSync(paths, item.path(), isBase);
        answer.isRoot = answer.isInSync && isBase;
        if (rule != BadgeRule::existing) continue;
        if (batch->existence[i] != Existence::exists) answer.kind = BadgeAnswer::Kind::unchanged;
        if (batch->existence[i] || batch->questions == maximumQuestions) continue;
        asked.push_back(item.path());
        places.push_back(i);
    }
    if (asked.empty()) {
        batch->answer(std::move(answers));
        return;
    }
    ++batch->questions;
    around.fileSystem.askExistence(
        std::move(asked), [this, batch, places = std::move(places)](std::vector<Existence> existence) {
            around.modelQueue.dispatch([this, batch, places, existence = std::move(existence)] {
                for (std::size_t i = 0; i < places.size(); ++i)
                    batch->existence[places[i]] = existence[i];
                answerOrAsk(batch);
            });
        });
}

// --- watched roots

FinderSync::Table::Table(daemon_client::SyncPathTable table) : paths(std::move(table)) {
    for (const std::string& root : paths.localRoots)
        if (auto url = FileURL::withPath(root)) watched.insert(std::move(*url));
}

void FinderSync::setInclusionPaths() {
    const auto current = table();
    ++inclusions;
    publish(badgeState()->withRoots(current ? current->watched : WatchedPaths()));
    if (current && tellsSingleBadges())
        for (const auto& [remoteRoot, localRoot] : current->paths.table)
            if (const auto root = FileURL::withPath(localRoot)) requestBadgeIdentifierForURL(*root);
    if (ModelObserver* const told = observer) told->rootsChanged();
}

void FinderSync::onSyncPathAdded() {
    around.log.info("TSyncFinder Received SyncPath Added Notification ===================>");
    const std::lock_guard guard(objectLock);
    setInclusionPaths();
}

void FinderSync::onSyncPathRemoved(const platform::Notification& notification) {
    around.log.info("TSyncFinder Received SyncPath Removed Notification -------------------->");
    const std::string* localPath = platform::textAt(notification.userInfo, "localPath");
    if (localPath == nullptr || !FileURL::withPath(*localPath)) {
        around.log.error("TSyncFinder Removed Path: the notification names no local path");
        return;
    }
    const std::string& removed = *localPath;
    const std::lock_guard guard(objectLock);
    around.log.info("TSyncFinder Removed Path: ", removed);
    set("", removed);

    const auto before = badgeState();
    WatchedPaths roots = before->watchedPaths();
    if (_allPathsInSync && _allPathsInSync->paths.localRoots.contains(removed))
        roots.erase(*FileURL::withPath(removed));
    const auto next = before->withRoots(std::move(roots));
    publish(next);
    // The walk asks the disk, which may hang: it runs beside the queue and hands back what it finds.
    if (tellsSingleBadges())
        around.walkQueue.dispatch(
            [this, removed, sequence = next->sequence(), inclusion = inclusions.load()] {
                clearBadgesBelow(removed, sequence, inclusion);
            });
    if (ModelObserver* const told = observer) told->rootsChanged();
}

void FinderSync::removeBadgeOfChildPath(const std::string& folder) {
    clearBadgesBelow(folder, badgeState()->sequence(), inclusions);
}

void FinderSync::clearBadgesBelow(const std::string& folder, std::uint64_t sequence,
                                  std::uint64_t inclusion) {
    constexpr std::size_t sliceSize = 256;
    std::vector<std::string> slice;
    const auto handBack = [&] {
        around.modelQueue.dispatchAndWait([&] { clearBadges(slice, sequence); });
        slice.clear();
    };
    forEachItemBelow(around.fileSystem, folder, [&](std::string path) {
        if (inclusions != inclusion) return false;
        slice.push_back(std::move(path));
        if (slice.size() == sliceSize) handBack();
        return true;
    });
    if (inclusions == inclusion) handBack();
}

// On the model queue. When the state has changed since, the rules of the new one give the badge: an item may
// be in a root again.
void FinderSync::clearBadges(const std::vector<std::string>& paths, std::uint64_t sequence) {
    const bool isCurrent = badgeState()->sequence() == sequence;
    for (const std::string& path : paths) {
        around.log.debug("TSyncFinder Removing child Path: ", path);
        if (isCurrent)
            set("", path);
        else if (const auto item = FileURL::withPath(path))
            requestBadgeIdentifierForURL(*item);
    }
}

} // namespace extension
