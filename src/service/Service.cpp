#include "service/Service.h"

#include "protocol/names.h"
#include "service/names.h"
#include "service/pair_parts.h"
#include "sync_daemon/paths.h"

#include <algorithm>
#include <utility>

namespace service {
namespace {

namespace fs = std::filesystem;
using sync_daemon::plainPath;
using sync_daemon::realPath;
using Phase = PairState::Phase;

fs::path createdFolder(const fs::path& folder) {
    fs::create_directories(folder);
    fs::permissions(folder, fs::perms::owner_all);
    return fs::canonical(folder);
}

// FNV-1a: names the database of a pair.
std::string nameOf(const std::string& remote, const std::string& local) {
    std::uint64_t hash = 0xcbf29ce484222325U;
    const std::string both = remote + '\0' + local;
    for (const char byte : both)
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3U;
    return std::to_string(hash);
}

} // namespace

Service::Service(Settings wanted, const Surroundings& everything)
    : settings(std::move(wanted)), stateFolder(createdFolder(settings.stateFolder)),
      stateFile(stateFolder / "state.json"), around(everything), log(everything.log),
      state(sync_daemon::loadState(stateFile, log)), folders(around.space, around.clock),
      carrier(
          around.space, around.trash, log, [this] { statusChanged(); }, state.paused,
          stateFolder / "carrying"),
      uploads(createdFolder(stateFolder / "uploading"), carrier, around.events, around.clock),
      cache(stateFolder / "cache.json", cacheSettings(), threadSurroundings()),
      spaceSnapshot(around.space, stateFolder / "remote-snapshot", log, around.clock) {
    createdFolder(stateFolder / "pairs");
    std::erase_if(state.pairs, [this](const auto& pair) {
        const bool isRefused = holdsOurs(realPath(pair.second));
        if (isRefused) refuse("sync", pair.second, "the service's own folders lie in it");
        return isRefused;
    });
}

Service::~Service() {
    ending.request_stop();
    if (around.events) around.events->stop();
    Threads going;
    {
        const std::lock_guard guard(lock);
        going.swap(threads);
    }
    cache.end();
    for (const auto& [remote, thread] : going)
        thread->end();
}

void Service::start() {
    post(TSYNC_NOTE_START, {});
    if (around.events) around.events->start([this](const auto& event) { noticed(event); });
    {
        const std::lock_guard guard(lock);
        // A request may have been first: its thread is not to be replaced with the lock held.
        for (const auto& [remote, local] : state.pairs)
            if (!threads.contains(remote)) threads[remote] = makeThread(remote, local);
    }
    cache.start();
    uploads.noticed(); // now it can be watched
    refresh();
}

SyncThread::Settings Service::threadSettings(fs::path database) const {
    SyncThread::Settings wanted;
    wanted.database = std::move(database);
    wanted.host = settings.host;
    wanted.keepsFor = settings.ages.trash;
    wanted.isPaused = state.paused;
    wanted.haste = settings.haste;
    wanted.excluded = [this] {
        const std::lock_guard guard(lock);
        return state.excluded;
    };
    return wanted;
}

SyncThread::Settings Service::cacheSettings() const {
    SyncThread::Settings wanted = threadSettings(stateFolder / "cache.db");
    wanted.localRoot = createdFolder(stateFolder / "cache").string();
    return wanted;
}

SyncThread::Surroundings Service::threadSurroundings() {
    return {around.space,
            around.trash,
            around.events,
            log,
            [this] { statusChanged(); },
            [this](const std::stop_token& stop) { cleanUp(stop); },
            around.clock};
}

std::shared_ptr<SyncThread> Service::makeThread(const std::string& remote, const std::string& local) {
    SyncThread::Settings wanted = threadSettings(databaseOf(remote, local));
    wanted.localRoot = local;
    wanted.remoteRoot = remote;
    wanted.others = [this, remote] {
        const std::lock_guard guard(lock);
        std::vector<PairRoots> others;
        for (const auto& [otherRemote, otherLocal] : state.pairs)
            if (otherRemote != remote) others.push_back({otherRemote, otherLocal});
        return others;
    };
    return std::make_shared<SyncThread>(std::move(wanted), threadSurroundings());
}

fs::path Service::databaseOf(const std::string& remote, const std::string& local) const {
    return stateFolder / "pairs" / (nameOf(remote, local) + ".db");
}

// A pair that is made again later begins with a first sync, which deletes nothing.
void Service::forgetDatabase(const std::string& remote, const std::string& local) const {
    std::error_code ignored;
    for (const char* suffix : {"", "-wal", "-shm", "-journal", ".left-out"})
        fs::remove(databaseOf(remote, local).string() + suffix, ignored);
}

Service::Threads Service::currentThreads() const {
    const std::lock_guard guard(lock);
    return threads;
}

void Service::noticed(const platform::DirectoryEvent& event) {
    const auto concerns = [&event](const std::string& folder) {
        return event.isLost || sync_daemon::isAtOrBelow(event.directory, folder);
    };
    if (concerns(uploads.folder().string())) uploads.noticed();
    if (const auto thread = cache.thread(); thread && concerns(cache.folder())) thread->noticed(event);
    const Threads all = currentThreads();
    std::string real = event.directory; // it is told by the spelling of one root or another
    for (const auto& [remote, thread] : all)
        if (sync_daemon::isAtOrBelow(event.directory, thread->localRoot()))
            real = thread->realRoot() + event.directory.substr(thread->localRoot().size());
    std::shared_ptr<SyncThread> holder;
    for (const auto& [remote, thread] : all) {
        if (event.isLost) thread->noticed(event);
        const bool holds = !event.isLost && sync_daemon::isAtOrBelow(real, thread->realRoot());
        if (holds && (!holder || thread->realRoot().size() > holder->realRoot().size())) holder = thread;
    }
    if (holder) holder->noticed(event);
}

void Service::observed(const std::string& localPath) {
    for (const auto& thread : threadsAt(Root::local, realPath(localPath), false))
        thread->observed();
}

void Service::networkCame() {
    for (const auto& [remote, thread] : currentThreads()) {
        const auto pair = thread->state();
        if (pair->phase == Phase::failed && pair->trouble == Trouble::unreachable) thread->ask();
    }
}

bool Service::refuse(std::string_view what, std::string_view path, std::string_view why) const {
    log.error("Refused to ", what, " ", path, ": ", why);
    return false;
}

bool Service::holdsOurs(const fs::path& folder) const {
    if (overlap(folder.string(), stateFolder.string())) return true;
    return std::any_of(
        settings.ownFolders.begin(), settings.ownFolders.end(),
        [&folder](const fs::path& own) { return overlap(folder.string(), realPath(own.string())); });
}

Outcome<Done> Service::confirm(std::string_view remotePath, const std::string& list) {
    const Threads all = currentThreads();
    const auto found = all.find(plainPath(remotePath).value_or(""));
    if (found == all.end())
        return Failure{Trouble::missing, "no folder is synced with " + std::string(remotePath)};
    if (!found->second->confirm(list))
        return Failure{Trouble::refused, "something else waits by now; look at it again"};
    log.info("Confirmed what waited for a word in ", found->second->localRoot());
    return Done{};
}

bool Service::syncPath(std::string_view remotePath) {
    const std::optional<std::string> path = plainPath(remotePath);
    if (!path) return refuse("sync", remotePath, "not a path in the space");
    return askPairsAt(*path) || refuse("sync", remotePath, "no pair has it");
}

// With the lock, together with the change for which it is done.
void Service::forgetAt(const std::string& remotePath) const {
    for (const auto& [root, thread] : threads)
        thread->forget(remotePath);
    if (const auto thread = cache.thread()) thread->forget(remotePath);
}

bool Service::excludePath(std::string_view remotePath) {
    const std::optional<std::string> remote = plainPath(remotePath);
    if (!remote) return refuse("exclude", remotePath, "not a path in the space");
    {
        const std::lock_guard guard(lock);
        state.excluded.insert(*remote);
        forgetAt(*remote);
        saveState(state, stateFile, log);
    }
    log.info("Excluded from sync: ", *remote);
    refresh();
    askPairsAt(*remote);
    return true;
}

bool Service::includePath(std::string_view remotePath) {
    const std::string remote = plainPath(remotePath).value_or("");
    {
        const std::lock_guard guard(lock);
        if (state.excluded.erase(remote) == 0)
            return refuse("include", remotePath, "it is not excluded itself");
        forgetAt(remote);
        saveState(state, stateFile, log);
    }
    log.info("Included in sync again: ", remote);
    refresh();
    askPairsAt(remote);
    return true;
}

bool Service::localSnapshotChanged(std::string_view localPath, bool noRecursive) {
    constexpr std::string_view what = "look for changes in";
    if (!localPath.starts_with('/') || !sync_daemon::isText(localPath))
        return refuse(what, localPath, "not an absolute path in UTF-8");
    const std::string real = realPath(localPath);
    const auto found = threadsAt(Root::local, real, !noRecursive);
    for (const auto& thread : found)
        thread->askVisibly();
    return !found.empty() || refuse(what, localPath, "it lies in no synced folder");
}

// A pair is looked at as a whole, so events of a pair wait as a whole.
bool Service::setEventsPaused(std::string_view localPath, bool pause) {
    if (!localPath.starts_with('/') || !sync_daemon::isText(localPath))
        return refuse("pause events on", localPath, "not an absolute path in UTF-8");
    for (const auto& thread : threadsAt(Root::local, realPath(localPath), true))
        thread->holdEvents(pause);
    return true;
}

bool Service::setCacheEventsPaused(bool pause) {
    cache.holdEvents(pause);
    return true;
}

bool Service::setUploadingEventsPaused(bool pause) {
    uploads.holdEvents(pause);
    return true;
}

void Service::setPaused(bool pause) {
    const std::lock_guard turn(pauseLock);
    Threads all;
    {
        const std::lock_guard guard(lock);
        all = threads;
        if (state.paused != pause) {
            state.paused = pause;
            saveState(state, stateFile, log);
        } else if (pause) {
            return;
        }
    }
    if (!pause) // whoever says to go on waits for nothing
        for (const auto& [remote, thread] : all)
            thread->ask();
    log.info(pause ? "Paused" : "Going on after the pause");
    for (const auto& [remote, thread] : all)
        thread->setPaused(pause);
    cache.setPaused(pause);
    carrier.setPaused(pause);
    statusChanged();
}

} // namespace service
