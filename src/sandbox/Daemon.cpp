#include "sandbox/Daemon.h"

#include "daemon_client/sync_path_mapping.h"
#include "dirsnapshot/DirSnapshot.h"
#include "platform/json.h"
#include "protocol/names.h"
#include "sandbox/paths.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <utility>

namespace sandbox {
namespace {

namespace fs = std::filesystem;

fs::path createdFolder(const fs::path& folder) {
    fs::create_directories(folder);
    return fs::canonical(folder);
}

} // namespace

Daemon::Daemon(const Settings& settings, platform::DistributedNotificationCenter& distributedCenter,
               platform::ProcessLog& processLog, const platform::Clock& clock)
    : space(settings.spaceFolder), stateFolder(createdFolder(settings.stateFolder)),
      stateFile(stateFolder / "state.json"), snapshotStore(settings.snapshotStore), events(settings.events),
      center(distributedCenter), log(processLog), state(sync_daemon::loadState(stateFile, log)),
      status({{"status", "syncStatusStarted"}}),
      uploader({space, events, *this, log, clock}, createdFolder(stateFolder / "roots"), settings.pace) {
    createdFolder(ownCacheFolder());
    createdFolder(ownUploadingFolder());
    std::erase_if(state.pairs, [this](const auto& pair) {
        const bool isRefused = holdsOurs(realPath(pair.second));
        if (isRefused)
            refuse("sync", pair.second, "the sandbox's own folders would be copied into themselves");
        return isRefused;
    });
    uploader.setPaused(state.paused);
}

Daemon::~Daemon() {
    if (events) events->stop();
}

void Daemon::start() {
    post(TSYNC_NOTE_START, {});
    {
        const std::lock_guard guard(stateLock);
        if (state.pairs.empty()) status = {{"status", "syncStatusCompleted"}};
    }
    refresh();
    if (events) events->start([this](const platform::DirectoryEvent& event) { uploader.noticed(event); });
    for (UploadTask& root : roots())
        uploader.add(std::move(root));
}

void Daemon::syncAgain() {
    const std::lock_guard guard(stateLock);
    for (const auto& [remote, local] : state.pairs)
        uploader.add({UploadTask::Kind::sync, local, remote});
}

bool Daemon::syncPath(std::string_view remotePath) {
    const std::optional<std::string> path = Space::plainPath(remotePath);
    if (!path) return refuse("sync", remotePath, "not a path in the space");
    bool isFound = false;
    const std::lock_guard guard(stateLock);
    for (const auto& [remote, local] : state.pairs) {
        if (!isAtOrBelow(*path, remote) && !isAtOrBelow(remote, *path)) continue;
        uploader.add({UploadTask::Kind::sync, local, remote});
        isFound = true;
    }
    return isFound || refuse("sync", remotePath, "no pair has it");
}

bool Daemon::localSnapshotChanged(std::string_view localPath, bool noRecursive) {
    constexpr std::string_view what = "look for changes in";
    if (!localPath.starts_with('/') || !isText(localPath))
        return refuse(what, localPath, "not an absolute path in UTF-8");
    const std::string real = realPath(localPath);
    const std::vector<UploadTask> all = roots();
    if (std::none_of(all.begin(), all.end(), [&](const UploadTask& root) {
            const std::string folder = realPath(root.localPath);
            return isAtOrBelow(real, folder) || (!noRecursive && isAtOrBelow(folder, real));
        }))
        return refuse(what, localPath, "it lies in no synced folder");
    std::error_code error;
    if (fs::is_directory(fs::symlink_status(real, error)))
        uploader.lookAgain(real, !noRecursive);
    else // a file, or something that is gone: its folder tells
        uploader.lookAgain(fs::path(real).parent_path().string(), false, fs::path(real).filename().string());
    return true;
}

void Daemon::setHeld(const std::string& folder, bool pause) {
    log.info(pause ? "Events wait: " : "Events count again: ", folder);
    if (pause)
        uploader.holdEvents(folder);
    else
        uploader.releaseEvents(folder);
}

bool Daemon::setEventsPaused(std::string_view localPath, bool pause) {
    if (!localPath.starts_with('/') || !isText(localPath))
        return refuse("pause events on", localPath, "not an absolute path in UTF-8");
    setHeld(realPath(localPath), pause);
    return true;
}

bool Daemon::setCacheEventsPaused(bool pause) {
    setHeld(ownCacheFolder(), pause);
    return true;
}

bool Daemon::setUploadingEventsPaused(bool pause) {
    setHeld(ownUploadingFolder(), pause);
    return true;
}

void Daemon::post(std::string name, platform::Dictionary userInfo) {
    center.post({std::move(name), std::nullopt, std::move(userInfo)});
}

void Daemon::refresh() {
    const std::lock_guard guard(postLock);
    post(TSYNC_NOTE_SYNC_REFRESH, {{"allPathsInSync", allPathsInSync()}, {"statusInfo", syncStatus()}});
}

platform::Dictionary Daemon::allPathsInSync() const {
    const std::lock_guard guard(stateLock);
    platform::Dictionary table;
    for (const auto& [remote, local] : state.pairs)
        table.emplace(remote, local);
    return table;
}

platform::Dictionary Daemon::syncStatus() const {
    const std::lock_guard guard(stateLock);
    return status;
}

bool Daemon::refuse(std::string_view what, std::string_view path, std::string_view why) const {
    log.error("Refused to ", what, " ", path, ": ", why);
    return false;
}

// Whether copying the folder into the space would copy the space or the state into themselves.
bool Daemon::holdsOurs(const fs::path& folder) const {
    const auto overlap = [&folder](const fs::path& own) {
        return isAtOrBelow(folder.native(), own.native()) || isAtOrBelow(own.native(), folder.native());
    };
    return overlap(space.folder()) || overlap(stateFolder);
}

bool Daemon::startSync(std::string_view localPath, std::string_view remotePath) {
    constexpr std::string_view what = "start syncing";
    const std::optional<std::string> remote = Space::plainPath(remotePath);
    if (!remote || *remote == "/") return refuse(what, localPath, "its folder is not a path in the space");
    if (!localPath.starts_with('/') || !isText(localPath))
        return refuse(what, localPath, "not an absolute path in UTF-8");
    const std::string local = plainLocalPath(localPath);
    std::error_code error;
    const fs::path real = fs::canonical(local, error);
    if (error || !fs::is_directory(real, error)) return refuse(what, local, "no such folder");
    if (holdsOurs(real))
        return refuse(what, local, "the sandbox's own folders would be copied into themselves");

    if (!space.makeDirectory(*remote)) return refuse(what, local, "its folder in the space cannot be made");

    std::optional<std::string> former;
    {
        const std::lock_guard guard(stateLock);
        const auto [pair, isNew] = state.pairs.try_emplace(*remote, local);
        if (!isNew && pair->second != local) former = std::exchange(pair->second, local);
        if (isNew || former) saveState(state, stateFile, log);
    }
    log.info("Syncing ", local, " to ", *remote);
    if (former) post(TSYNC_NOTE_SYNC_PATH_REMOVED, {{"remotePath", *remote}, {"localPath", *former}});
    post(TSYNC_NOTE_SYNC_PATH_ADDED, {{"remotePath", *remote}, {"localPath", local}});
    refresh();
    uploader.add({UploadTask::Kind::sync, local, *remote});
    return true;
}

bool Daemon::stopSync(std::string_view remotePath) {
    const std::string remote = Space::plainPath(remotePath).value_or("");
    std::string local;
    {
        const std::lock_guard guard(stateLock);
        const auto pair = state.pairs.find(remote);
        if (pair == state.pairs.end())
            return refuse("stop syncing", remotePath, "no pair has this remote root");
        local = pair->second;
        state.pairs.erase(pair);
        saveState(state, stateFile, log);
    }
    log.info("No longer syncing ", local, " to ", remote);
    post(TSYNC_NOTE_SYNC_PATH_REMOVED, {{"remotePath", remote}, {"localPath", local}});
    refresh();
    uploader.add({UploadTask::Kind::end, local, remote});
    return true;
}

bool Daemon::excludePath(std::string_view remotePath) {
    const std::optional<std::string> remote = Space::plainPath(remotePath);
    if (!remote) return refuse("exclude", remotePath, "not a path in the space");
    {
        const std::lock_guard guard(stateLock);
        state.excluded.insert(*remote);
        saveState(state, stateFile, log);
    }
    log.info("Excluded from sync: ", *remote);
    refresh();
    return true;
}

bool Daemon::includePath(std::string_view remotePath) {
    const std::string remote = Space::plainPath(remotePath).value_or("");
    {
        const std::lock_guard guard(stateLock);
        if (state.excluded.erase(remote) == 0)
            return refuse("include", remotePath, "it is not excluded itself");
        saveState(state, stateFile, log);
    }
    log.info("Included in sync again: ", remote);
    refresh();
    syncAgain();
    return true;
}

bool Daemon::copyToSpace(std::string_view localPath, std::string_view remoteFolder) {
    return bringToSpace(UploadTask::Kind::copy, localPath, remoteFolder);
}

bool Daemon::moveToSpace(std::string_view localPath, std::string_view remoteFolder) {
    return bringToSpace(UploadTask::Kind::move, localPath, remoteFolder);
}

bool Daemon::bringToSpace(UploadTask::Kind kind, std::string_view localPath, std::string_view remoteFolder) {
    const std::string_view what = kind == UploadTask::Kind::move ? "move" : "copy";
    const std::optional<std::string> folder = Space::plainPath(remoteFolder);
    if (!folder) return refuse(what, localPath, "its folder is not a path in the space");
    if (!localPath.starts_with('/') || !isText(localPath))
        return refuse(what, localPath, "not an absolute path in UTF-8");
    const std::string local = plainLocalPath(localPath);
    std::error_code error;
    const fs::path real = fs::canonical(local, error);
    if (error) return refuse(what, local, "nothing is there");
    if (local == "/" || holdsOurs(real)) return refuse(what, local, "the sandbox's own folders lie in it");
    if (kind == UploadTask::Kind::move && fs::is_symlink(fs::symlink_status(local, error)))
        return refuse(what, local, "a link is not moved");
    if (!space.makeDirectory(*folder)) return refuse(what, local, "its folder in the space cannot be made");
    std::string remote = remoteChild(*folder, fs::path(local).filename().string());
    if (!Space::plainPath(remote)) return refuse(what, local, "its name is the space's own");
    log.info(kind == UploadTask::Kind::move ? "Moving " : "Copying ", local, " to ", remote);
    uploader.add({kind, local, std::move(remote)});
    return true;
}

bool Daemon::shareByEmail(std::string_view remotePath, bool isDirectory,
                          const std::vector<std::string>& recipients) {
    const std::optional<std::string> remote = Space::plainPath(remotePath);
    if (!remote) return refuse("share", remotePath, "not a path in the space");
    const platform::Dictionary share{
        {"path", *remote},
        {"isDir", isDirectory},
        {"recipients", platform::Array(recipients.begin(), recipients.end())},
    };
    std::ofstream outbox(stateFolder / "outbox.jsonl", std::ios::app);
    outbox << platform::jsonDescription(share) << std::endl;
    log.info("Would share ", platform::Value(share), "; a sandbox sends no mail");
    return static_cast<bool>(outbox);
}

void Daemon::setPaused(bool pause) {
    {
        const std::lock_guard guard(stateLock);
        if (state.paused == pause) return;
        state.paused = pause;
        saveState(state, stateFile, log);
    }
    log.info(pause ? "Paused" : "Going on after the pause");
    uploader.setPaused(pause);
}

Daemon::Exclusion Daemon::exclusionOfRemote(std::string_view remotePath) const {
    const std::optional<std::string> remote = Space::plainPath(remotePath);
    if (!remote) return {};
    const std::lock_guard guard(stateLock);
    return {state.isExcluded(*remote), state.excluded.contains(*remote)};
}

Daemon::Exclusion Daemon::exclusionOfLocal(std::string_view localPath) const {
    if (!localPath.starts_with('/')) return {};
    daemon_client::SyncPathTable table;
    {
        const std::lock_guard guard(stateLock);
        table.insert(state.pairs.begin(), state.pairs.end());
    }
    const auto remote = daemon_client::remotePathOfLocalSyncPath(table, localPath);
    if (const Exclusion chosen = exclusionOfRemote(remote.value_or("")); chosen.isExcluded) return chosen;
    const std::string plain = plainLocalPath(localPath);
    const bool isExcluded = dirsnapshot::DirSnapshot::isNodeAtFullPathExcluded(plain);
    const std::string above = fs::path(plain).parent_path().string();
    return {isExcluded, isExcluded && !dirsnapshot::DirSnapshot::isNodeAtFullPathExcluded(above)};
}

platform::Array Daemon::pendingOperations() const {
    constexpr std::array names{"sync", "sync cache", "sync uploads", "copy",
                               "move", "download",   "cache",        "end"};
    platform::Array operations;
    for (const UploadTask& task : uploader.pendingTasks())
        operations.emplace_back(
            platform::Dictionary{{"operation", names.at(static_cast<std::size_t>(task.kind))},
                                 {"localPath", task.localPath},
                                 {"remotePath", task.remotePath}});
    for (const std::string& directory : uploader.pendingDirectories())
        operations.emplace_back(platform::Dictionary{{"operation", "look"}, {"localPath", directory}});
    return operations;
}

bool Daemon::isPendingLocally(std::string_view localPath) const {
    return localPath.starts_with('/') && uploader.isPendingLocally(plainLocalPath(localPath));
}

bool Daemon::isPendingRemotely(std::string_view remotePath) const {
    const std::optional<std::string> remote = Space::plainPath(remotePath);
    return remote && uploader.isPendingRemotely(*remote);
}

std::vector<UploadTask> Daemon::roots() {
    using Kind = UploadTask::Kind;
    std::vector<UploadTask> all;
    {
        const std::lock_guard guard(stateLock);
        all.reserve(state.pairs.size() + 2);
        for (const auto& [remote, local] : state.pairs)
            all.push_back({Kind::sync, local, remote});
    }
    all.push_back({Kind::mirror, ownCacheFolder(), "/"});
    all.push_back({Kind::drop, ownUploadingFolder(), "/"});
    return all;
}

std::vector<std::string> Daemon::exclusions(const UploadTask& task, const std::string& folder) {
    std::vector<std::string> below;
    const std::lock_guard guard(stateLock);
    for (const std::string& remote : state.excluded)
        if (remote != task.remotePath && isAtOrBelow(remote, task.remotePath))
            below.push_back(folder + remote.substr(task.remotePath == "/" ? 0 : task.remotePath.size()));
    return below;
}

bool Daemon::isWanted(const UploadTask& task, std::string_view remotePath) {
    if (task.kind == UploadTask::Kind::mirror) return !exclusionOfRemote(remotePath).isExcluded;
    if (task.kind != UploadTask::Kind::sync) return true;
    const std::lock_guard guard(stateLock);
    const auto pair = state.pairs.find(task.remotePath);
    return pair != state.pairs.end() && pair->second == task.localPath && !state.isExcluded(remotePath);
}

void Daemon::phaseChanged(std::string_view phase, const std::optional<FileInFlight>& file) {
    platform::Dictionary changed{{"status", phase}};
    if (file) {
        platform::Dictionary paths;
        paths.emplace(file->localPath, platform::Dictionary{{"size", file->size}});
        platform::Dictionary uploading{{"paths", std::move(paths)}};
        changed.emplace("info", platform::Dictionary{{"syncStatusUploading", std::move(uploading)}});
    }
    {
        const std::lock_guard guard(stateLock);
        if (status == changed) return;
        status = std::move(changed);
    }
    log.debug("Status ", platform::Value(syncStatus()));
    refresh();
}

} // namespace sandbox
