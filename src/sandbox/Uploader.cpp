#include "sandbox/Uploader.h"

#include "sandbox/paths.h"
#include "sandbox/placement.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <unistd.h>
#include <utility>

namespace sandbox {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using platform::Clock;
using Kind = UploadTask::Kind;

constexpr std::uint64_t largestChunk = 1U << 18;

std::string remoteBelow(const std::string& remoteRoot, const std::string& relativePath) {
    return remoteRoot == "/" ? relativePath : remoteRoot + relativePath;
}

// A local root is compared with events and with the snapshots without the links that lead to it.
std::optional<std::string> realFolder(const std::string& localPath) {
    std::error_code error;
    const fs::path real = fs::canonical(localPath, error);
    return error ? std::nullopt : std::optional(real.string());
}

// Whether the remote root of a pair is at the path or below it.
bool holdsRoot(const std::vector<UploadTask>& roots, std::string_view remotePath) {
    return std::any_of(roots.begin(), roots.end(), [remotePath](const UploadTask& root) {
        return root.kind == Kind::sync && isAtOrBelow(root.remotePath, remotePath);
    });
}

// The file of a synced folder's snapshot; none is kept from run to run for a long remote path.
std::string keptName(const UploadTask& task) {
    std::string name;
    for (const char c : task.remotePath)
        name += c == '/' ? "%2F" : c == '%' ? "%25" : std::string(1, c);
    return (task.kind == Kind::mirror ? "mirror" : "pair") + name;
}

} // namespace

Uploader::Uploader(const Surroundings& surroundings, std::string folderOfSnapshots, Pace wantedPace)
    : around(surroundings), snapshotFolder(std::move(folderOfSnapshots)), pace(wantedPace),
      thread([this] { run(); }) {}

Uploader::~Uploader() {
    {
        const std::lock_guard guard(lock);
        stopping = true;
    }
    changed.notify_all();
    thread.join();
}

void Uploader::add(UploadTask task) {
    {
        const std::lock_guard guard(lock);
        if (task.isRoot() && std::find(waiting.begin(), waiting.end(), task) != waiting.end()) return;
        waiting.push_back(std::move(task));
    }
    changed.notify_all();
}

void Uploader::setPaused(bool pause) {
    {
        const std::lock_guard guard(lock);
        paused = pause;
    }
    changed.notify_all();
}

void Uploader::noticed(const platform::DirectoryEvent& event) {
    {
        const std::lock_guard guard(lock);
        if (event.isLost)
            hasLostEvents = true;
        else
            changes.noticed(event.directory, event.name);
    }
    changed.notify_all();
}

void Uploader::lookAgain(const std::string& directory, bool recursive, const std::string& name) {
    {
        const std::lock_guard guard(lock);
        changes.asked(directory, recursive, name);
    }
    changed.notify_all();
}

void Uploader::holdEvents(const std::string& path) {
    const std::lock_guard guard(lock);
    changes.hold(path);
}

void Uploader::releaseEvents(const std::string& path) {
    {
        const std::lock_guard guard(lock);
        changes.release(path);
    }
    changed.notify_all();
}

std::vector<UploadTask> Uploader::pendingTasks() const {
    const std::lock_guard guard(lock);
    std::vector<UploadTask> tasks;
    tasks.reserve(inHand.size() + waiting.size());
    for (const auto& [localPath, task] : inHand)
        tasks.push_back(task);
    tasks.insert(tasks.end(), waiting.begin(), waiting.end());
    return tasks;
}

std::vector<std::string> Uploader::pendingDirectories() const {
    const std::lock_guard guard(lock);
    return changes.paths();
}

namespace {

// Whether a key is at the path, in it, or above it.
template <typename Map>
bool touches(const Map& map, std::string_view path) {
    const auto below = map.lower_bound(path);
    if (below != map.end() && isAtOrBelow(below->first, path)) return true;
    const std::string prefix = std::string(path) + "/";
    const auto inside = map.lower_bound(prefix);
    if (inside != map.end() && inside->first.starts_with(prefix)) return true;
    for (; path.size() > 1; path = path.substr(0, std::max<std::size_t>(path.rfind('/'), 1)))
        if (map.contains(path)) return true;
    return map.contains(path);
}

} // namespace

bool Uploader::isPendingLocally(std::string_view localPath) const {
    const std::lock_guard guard(lock);
    return touches(inHand, localPath) || changes.concern(localPath) ||
           std::any_of(waiting.begin(), waiting.end(), [localPath](const UploadTask& task) {
               return isAtOrBelow(task.localPath, localPath) || isAtOrBelow(localPath, task.localPath);
           });
}

bool Uploader::isPendingRemotely(std::string_view remotePath) const {
    const std::lock_guard guard(lock);
    return touches(inHandRemotely, remotePath) ||
           std::any_of(waiting.begin(), waiting.end(), [remotePath](const UploadTask& task) {
               return isAtOrBelow(task.remotePath, remotePath) || isAtOrBelow(remotePath, task.remotePath);
           });
}

void Uploader::setInHand(std::vector<UploadTask> tasks) {
    const std::lock_guard guard(lock);
    inHand.clear();
    inHandRemotely.clear();
    for (UploadTask& task : tasks) {
        ++inHandRemotely[task.remotePath];
        std::string localPath = task.localPath;
        inHand.emplace(std::move(localPath), std::move(task));
    }
}

bool Uploader::isStopping() {
    const std::lock_guard guard(lock);
    return stopping;
}

void Uploader::run() {
    StagingFolder::removeLeft(stagingNote(), around.log);
    while (true) {
        std::unique_lock guard(lock);
        changed.wait(guard, [this] {
            return stopping || (!paused && (!waiting.empty() || !changes.isEmpty() || hasLostEvents));
        });
        if (stopping) break;
        std::optional<UploadTask> task;
        PendingChanges::Directories directories;
        const bool isLost = std::exchange(hasLostEvents, false);
        if (!waiting.empty() && !isLost) {
            task = std::move(waiting.front());
            waiting.pop_front();
            inHand.emplace(task->localPath, *task);
            ++inHandRemotely[task->remotePath];
        } else if (!isLost) {
            directories = changes.take();
        }
        guard.unlock();

        if (isLost) {
            around.log.error(
                "There were more changes than the system tells of: every synced folder is looked at");
            for (UploadTask& root : around.observer.roots())
                add(std::move(root));
            continue;
        }
        if (task)
            perform(*task);
        else
            lookAtChanges(directories);
        setInHand({});

        guard.lock();
        const bool atRest = waiting.empty() && changes.isEmpty() && !stopping;
        guard.unlock();
        if (atRest) around.observer.phaseChanged("syncStatusCompleted", std::nullopt);
    }
    for (auto& [name, root] : roots)
        root.keep();
}

LocalRoot& Uploader::rootOf(const UploadTask& task, const std::string& folder) {
    const std::string name = keptName(task);
    auto root = roots.find(name);
    if (root != roots.end() && root->second.folder() != folder) {
        forgetRoot(root);
        root = roots.end();
    }
    if (root == roots.end())
        root = roots.try_emplace(name, folder, snapshotFolder + "/" + name, around.events, around.log).first;
    return root->second;
}

void Uploader::forgetRoot(std::map<std::string, LocalRoot>::iterator root) {
    const std::string folder = root->second.folder();
    root->second.discard();
    roots.erase(root);
    const bool isShared = std::any_of(roots.begin(), roots.end(), [&folder](const auto& other) {
        return isAtOrBelow(other.second.folder(), folder) || isAtOrBelow(folder, other.second.folder());
    });
    if (around.events && !isShared) around.events->forgetTree(folder);
}

void Uploader::perform(const UploadTask& task) {
    if (task.kind == Kind::end) {
        if (const std::optional<std::string> folder = realFolder(task.localPath)) {
            rootOf(task, *folder);
            forgetRoot(roots.find(keptName(task)));
        }
        return;
    }
    if (task.kind == Kind::download) return download(task);
    if (task.kind == Kind::cache) return fetchIntoCache(task);
    if (task.kind == Kind::copy || task.kind == Kind::move || task.kind == Kind::drop) return bring(task);
    if (!around.observer.isWanted(task, task.remotePath)) return;
    const bool isAnnounced = task.kind == Kind::sync; // the cache is nobody's folder
    if (isAnnounced) around.observer.phaseChanged("syncStatusScanning", std::nullopt);
    const std::optional<std::string> folder = realFolder(task.localPath);
    std::optional<Differences> differences;
    LocalRoot* root = folder ? &rootOf(task, *folder) : nullptr;
    if (root) differences = root->lookAtAll(around.observer.exclusions(task, *folder));
    if (isAnnounced) around.observer.phaseChanged("syncStatusDiff", std::nullopt);
    if (!differences) return;
    transferAll(worksOf(task, *root, *differences));
    root->keep();
}

void Uploader::lookAtChanges(const PendingChanges::Directories& directories) {
    const bool isAsked = std::any_of(directories.begin(), directories.end(),
                                     [](const auto& each) { return each.second.isAsked; });
    if (isAsked) around.observer.phaseChanged("syncStatusScanning", std::nullopt);
    std::vector<Work> works;
    bool differs = isAsked;
    for (const UploadTask& task : around.observer.roots()) {
        const std::optional<std::string> folder = realFolder(task.localPath);
        if (!folder || !around.observer.isWanted(task, task.remotePath)) continue;
        bool isConcerned = false;
        for (const auto& [directory, wanted] : directories) {
            // A change above a synced folder concerns it only when it includes everything below.
            const bool isAbove = wanted.recursive && isAtOrBelow(*folder, directory);
            if (!isAbove && !isAtOrBelow(directory, *folder)) continue;
            isConcerned = true;
            if (task.kind == Kind::drop) continue;
            LocalRoot& root = rootOf(task, *folder);
            const std::optional<Differences> found =
                root.lookAt(isAbove ? *folder : directory, wanted, around.observer.exclusions(task, *folder));
            if (!found) continue;
            std::vector<Work> more = worksOf(task, root, *found);
            differs = differs || !more.empty() || !found->deleted.empty() || !found->folders.empty();
            std::move(more.begin(), more.end(), std::back_inserter(works));
        }
        if (isConcerned && task.kind == Kind::drop) bring(task);
    }
    if (differs) around.observer.phaseChanged("syncStatusDiff", std::nullopt);
    transferAll(works);
}

// What is to be copied of what differs. Folders are made and what was deleted goes into the trash on the way.
std::vector<Uploader::Work> Uploader::worksOf(const UploadTask& task, LocalRoot& root,
                                              const Differences& differences) {
    std::vector<UploadTask> all;
    if (!differences.deleted.empty() && task.kind == Kind::sync) all = around.observer.roots();
    for (const std::string& relativePath : differences.deleted) {
        if (task.kind != Kind::sync) break; // a cached copy may go, the item stays
        const std::string remote = remoteBelow(task.remotePath, relativePath);
        if (!isGone(root.folder() + relativePath)) {
            around.log.error("Cannot be read here, so it stays in the space: ", remote);
            continue;
        }
        if (!holdsRoot(all, remote) && around.observer.isWanted(task, remote) && around.space.trash(remote))
            around.log.info("Deleted here, so it goes into the trash of the space: ", remote);
    }
    for (const std::string& relativePath : differences.folders) {
        const std::string remote = remoteBelow(task.remotePath, relativePath);
        if (around.observer.isWanted(task, remote) && !makeWay(task.remotePath, remote))
            around.log.error("No folder ", remote, " can be made in the space");
    }
    std::vector<Work> works;
    for (const std::string& relativePath : differences.files) {
        const std::string remote = remoteBelow(task.remotePath, relativePath);
        std::string local = root.folder() + relativePath;
        struct stat info {};
        if (!around.observer.isWanted(task, remote) || lstat(local.c_str(), &info) != 0) {
            root.forget(relativePath);
            continue;
        }
        if (around.space.holds(remote, static_cast<std::uint64_t>(info.st_size), info.st_mtim)) continue;
        const bool isOlder = around.space.isNewer(remote, info.st_mtim);
        // A cached copy is often older than its original, which may have come from a synced folder meanwhile.
        if (isOlder && task.kind == Kind::mirror) continue;
        // Observers know the root by the user's spelling.
        const bool keepsFormer = isOlder || differences.isFirstLook;
        works.push_back({task, task.localPath + relativePath, remote, &root, keepsFormer});
    }
    return works;
}

// A folder of the space. A file of the synced folder that is in its place or above it goes into the trash.
bool Uploader::makeWay(const std::string& remoteRoot, const std::string& remote) {
    if (around.space.makeDirectory(remote)) return true;
    for (fs::path way = remote; way != remoteRoot && way != "/"; way = way.parent_path())
        if (around.space.kind(way.string()) == ItemKind::file)
            return around.space.trash(way.string()) && around.space.makeDirectory(remote);
    return false;
}

void Uploader::transferAll(const std::vector<Work>& works) {
    if (works.empty()) return;
    around.observer.phaseChanged("syncStatusEnqueueing", std::nullopt);
    std::vector<UploadTask> tasks;
    tasks.reserve(works.size());
    for (const Work& work : works)
        tasks.push_back({work.task.kind, work.localPath, work.remotePath});
    setInHand(std::move(tasks));
    announced.clear();
    for (const Work& work : works) {
        const TransferResult result = mayGoOn(work) ? upload(work) : TransferResult::stopped;
        if (result != TransferResult::stored && work.root)
            work.root->forget(work.localPath.substr(work.task.localPath.size()));
        const std::lock_guard guard(lock);
        inHand.erase(work.localPath);
        if (const auto count = inHandRemotely.find(work.remotePath);
            count != inHandRemotely.end() && --count->second == 0)
            inHandRemotely.erase(count);
    }
}

TransferResult Uploader::upload(const Work& work) {
    const bool isSynced = work.root != nullptr;
    std::string remote = work.remotePath;
    if (isSynced && around.space.kind(remote) == ItemKind::folder) { // a file has taken its place
        if (holdsRoot(around.observer.roots(), remote)) {
            around.log.error("Another folder is synced to the space there, so it is not replaced: ", remote);
            return TransferResult::failed;
        }
        around.space.trash(remote);
    }
    if (work.keepsFormer && around.space.kind(remote) == ItemKind::file &&
        !around.space.keepInTrash(remote)) {
        around.log.error("What the space has there cannot be kept in its trash, so it is not replaced: ",
                         remote);
        return TransferResult::failed;
    }
    if (work.task.kind == Kind::drop) remote = around.space.freePath(remote).value_or(remote);
    const std::string folder = fs::path(remote).parent_path().string();
    const bool hasFolder =
        isSynced ? makeWay(work.task.remotePath, folder) : around.space.makeDirectory(folder);
    const std::optional<fs::path> destination = hasFolder ? around.space.localPath(remote) : std::nullopt;
    if (!destination) {
        around.log.error("No folder in the space can take ", work.localPath);
        return TransferResult::failed;
    }
    FileTransfer file{work.localPath, around.space.incomingFile(), *destination};
    // What the user chose himself may be a link; what lies below it may not.
    file.followsLink = work.localPath == work.task.localPath;
    file.replaces = isSynced;
    file.removesSource = work.task.kind == Kind::move || work.task.kind == Kind::drop;
    return transfer(work, file);
}

TransferResult Uploader::transfer(const Work& work, const FileTransfer& file) {
    // Under a throttle a chunk is at most a twentieth of a second, so that a pause or a stop is felt at once.
    const TransferControl control{pace.bytesPerSecond == 0
                                      ? largestChunk
                                      : std::clamp<std::uint64_t>(pace.bytesPerSecond / 20, 1, largestChunk),
                                  [&](std::uint64_t size) {
                                      if (!mayGoOn(work)) return false;
                                      announce(work, size);
                                      return true;
                                  },
                                  [this](std::uint64_t bytes) { spend(bytes); }};
    return transferFile(file, control, around.log);
}

// Waits while paused. False when the item is not wanted any more.
bool Uploader::mayGoOn(const Work& work) {
    {
        std::unique_lock guard(lock);
        changed.wait(guard, [this] { return stopping || !paused; });
        if (stopping) return false;
    }
    return around.observer.isWanted(work.task, work.remotePath);
}

void Uploader::spend(std::uint64_t bytes) {
    if (pace.bytesPerSecond == 0) return;
    const std::chrono::duration<double> cost(static_cast<double>(bytes) /
                                             static_cast<double>(pace.bytesPerSecond));
    nextByte =
        std::max(nextByte, around.clock.now()) + std::chrono::duration_cast<Clock::TimePoint::duration>(cost);
    std::unique_lock guard(lock);
    while (!stopping && around.clock.now() < nextByte)
        changed.wait_until(guard, around.clock.wakeUp(nextByte));
}

void Uploader::announce(const Work& work, std::uint64_t size) {
    // A file on its way down is not an upload.
    if (announced == work.localPath || work.task.kind == Kind::download || work.task.kind == Kind::cache)
        return;
    const Clock::TimePoint now = around.clock.now();
    if (!announced.empty() && now - lastAnnouncement < pace.announcement) return;
    announced = work.localPath;
    lastAnnouncement = now;
    around.observer.phaseChanged("syncStatusTransfer", FileInFlight{work.localPath, size});
}

} // namespace sandbox
