#include "backends/posix/GuardedFileSystem.h"

#include "backends/posix/ConcurrentQueue.h"
#include "backends/posix/MountTable.h"

#include <sys/stat.h>

#include <atomic>
#include <condition_variable>
#include <dirent.h>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <set>
#include <unistd.h>

namespace backends::posix {
namespace {

// More mounts than this hanging at once leave every further question unknown.
constexpr unsigned maximumHelperThreads = 8;

bool existsOnDisk(const std::string& path) {
    struct stat status;
    return ::stat(path.c_str(), &status) == 0;
}

} // namespace

std::optional<platform::FileKind> GuardedFileSystem::probeDisk(const std::string& path) {
    struct stat target;
    struct stat item;
    if (::stat(path.c_str(), &target) != 0 || ::lstat(path.c_str(), &item) != 0) return std::nullopt;
    return platform::FileKind{S_ISDIR(target.st_mode), S_ISLNK(item.st_mode), {target.st_dev, target.st_ino}};
}

// The paths of one question that lie on one mount. The helper thread writes the answers in order and counts
// them; the caller reads those below the count.
struct GuardedFileSystem::Job {
    std::string mountPoint;
    std::vector<std::string> paths;
    std::vector<std::size_t> places; // of each path in the question
    bool kinds = false;              // full kinds are wanted, not existence alone
    std::vector<std::optional<platform::FileKind>> answers;
    std::atomic<std::size_t> answered = 0;

    std::mutex lock;
    std::condition_variable finished;
    bool isFinished = false;  // guarded by lock
    bool isAbandoned = false; // guarded by lock: the caller has gone on without it
};

struct GuardedFileSystem::State {
    Probe probe;
    bool probesDisk = false; // the cheaper existence test serves
    std::function<void(const std::string&)> recovered;
    MountTable mounts;
    std::mutex lock;
    std::set<std::string> hanging; // guarded by lock: mount points that do not answer
    ConcurrentQueue helpers{"disk", maximumHelperThreads};
};

GuardedFileSystem::GuardedFileSystem(std::chrono::milliseconds waitBound, Probe probe)
    : patience(waitBound), state(std::make_shared<State>()) {
    using Function = std::optional<platform::FileKind> (*)(const std::string&);
    const Function* plain = probe.target<Function>();
    state->probesDisk = plain != nullptr && *plain == &probeDisk;
    state->probe = std::move(probe);
}

GuardedFileSystem::~GuardedFileSystem() = default;

void GuardedFileSystem::setRecovered(std::function<void(const std::string&)> handler) {
    state->recovered = std::move(handler);
}

std::shared_ptr<GuardedFileSystem::Job> GuardedFileSystem::start(const std::string& mountPoint,
                                                                 std::vector<std::string> paths, bool kinds) {
    {
        const std::lock_guard guard(state->lock);
        if (state->hanging.contains(mountPoint)) return nullptr;
    }
    auto job = std::make_shared<Job>();
    job->mountPoint = mountPoint;
    job->paths = std::move(paths);
    job->kinds = kinds;
    job->answers.resize(job->paths.size());
    // The helper holds the state weakly between probes: the last owner may not be a thread of its own pool.
    state->helpers.dispatch(
        [job, weak = std::weak_ptr(state), probe = state->probe, disk = state->probesDisk] {
            for (std::size_t i = 0; i < job->paths.size(); ++i) {
                if (!disk || job->kinds)
                    job->answers[i] = probe(job->paths[i]);
                else if (existsOnDisk(job->paths[i]))
                    job->answers[i] = platform::FileKind{};
                job->answered.store(i + 1, std::memory_order_release);
            }
            bool late = false;
            {
                const std::lock_guard guard(job->lock);
                job->isFinished = true;
                late = job->isAbandoned;
            }
            job->finished.notify_one();
            if (!late) return;
            if (const auto shared = weak.lock()) {
                {
                    const std::lock_guard guard(shared->lock);
                    shared->hanging.erase(job->mountPoint);
                }
                if (shared->recovered) shared->recovered(job->mountPoint);
            }
        });
    return job;
}

void GuardedFileSystem::wait(Job& job) {
    std::unique_lock guard(job.lock);
    std::size_t seen = 0;
    while (!job.finished.wait_for(guard, patience, [&job] { return job.isFinished; })) {
        const std::size_t answered = job.answered.load(std::memory_order_acquire);
        if (answered != seen) {
            seen = answered;
            continue;
        }
        job.isAbandoned = true;
        const std::lock_guard stateGuard(state->lock);
        state->hanging.insert(job.mountPoint);
        return;
    }
}

std::vector<platform::Existence> GuardedFileSystem::existence(std::span<const std::string_view> paths) {
    std::vector<platform::Existence> answers(paths.size(), platform::Existence::unknown);
    struct Share {
        std::vector<std::string> paths;
        std::vector<std::size_t> places;
    };
    std::map<std::string_view, Share> shares;
    const auto mounts = state->mounts.current();
    std::string_view lastFolder;
    Share* lastShare = nullptr;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        // Neighbours lie on the mount of their folder, but for an item that is a mount point itself.
        const std::string_view folder = paths[i].substr(0, paths[i].rfind('/'));
        if (mounts->contains(paths[i])) {
            lastShare = &shares[paths[i]];
            lastFolder = {};
        } else if (lastShare == nullptr || lastFolder.empty() || folder != lastFolder) {
            lastShare = &shares[folder.empty() ? std::string_view("/") : mounts->of(folder)];
            lastFolder = folder;
        }
        lastShare->paths.emplace_back(paths[i]);
        lastShare->places.push_back(i);
    }
    std::vector<std::shared_ptr<Job>> jobs;
    for (auto& [mountPoint, share] : shares) {
        const auto job = start(std::string(mountPoint), std::move(share.paths), false);
        if (!job) continue;
        job->places = std::move(share.places);
        jobs.push_back(job);
    }
    for (const auto& job : jobs) {
        wait(*job);
        const std::size_t answered = job->answered.load(std::memory_order_acquire);
        for (std::size_t i = 0; i < answered; ++i)
            answers[job->places[i]] =
                job->answers[i] ? platform::Existence::exists : platform::Existence::missing;
    }
    return answers;
}

std::optional<platform::FileKind> GuardedFileSystem::kind(std::string_view path) {
    const auto job = start(std::string(state->mounts.current()->of(path)), {std::string(path)}, true);
    if (!job) return std::nullopt;
    wait(*job);
    return job->answered.load(std::memory_order_acquire) == 1 ? job->answers[0] : std::nullopt;
}

std::vector<std::string> GuardedFileSystem::entryNames(std::string_view path) {
    std::vector<std::string> names;
    DIR* const directory = ::opendir(std::string(path).c_str());
    if (directory == nullptr) return names;
    while (const dirent* entry = ::readdir(directory)) {
        const std::string_view name(entry->d_name);
        if (name != "." && name != "..") names.emplace_back(name);
    }
    ::closedir(directory);
    return names;
}

} // namespace backends::posix
