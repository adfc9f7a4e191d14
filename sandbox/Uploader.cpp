#include "sandbox/Uploader.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace sandbox {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::size_t largestChunk = 1U << 18;

class Descriptor {
  public:
    explicit Descriptor(int descriptor) : number(descriptor) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (number >= 0) ::close(number);
    }
    int get() const { return number; }
    explicit operator bool() const { return number >= 0; }

  private:
    int number;
};

bool writeAll(int target, const char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t written = ::write(target, bytes, count);
        if (written < 0 && errno != EINTR) return false;
        if (written < 0) continue;
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
    return true;
}

bool sameContent(const struct stat& before, const struct stat& after) {
    return before.st_size == after.st_size && before.st_mtim.tv_sec == after.st_mtim.tv_sec &&
           before.st_mtim.tv_nsec == after.st_mtim.tv_nsec;
}

} // namespace

Uploader::Uploader(const Space& remoteSpace, Pace wantedPace, UploadObserver& uploadObserver,
                   platform::ProcessLog& processLog)
    : space(remoteSpace), pace(wantedPace), observer(uploadObserver), log(processLog),
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
        if (std::find(waiting.begin(), waiting.end(), task) != waiting.end()) return;
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

bool Uploader::isStopping() {
    const std::lock_guard guard(lock);
    return stopping;
}

void Uploader::run() {
    while (true) {
        std::unique_lock guard(lock);
        changed.wait(guard, [this] { return stopping || (!paused && !waiting.empty()); });
        if (stopping) return;
        const UploadTask task = std::move(waiting.front());
        waiting.pop_front();
        guard.unlock();

        perform(task);

        guard.lock();
        const bool atRest = waiting.empty() && !stopping;
        guard.unlock();
        if (atRest) observer.phaseChanged("syncStatusCompleted", std::nullopt);
    }
}

void Uploader::perform(const UploadTask& task) {
    observer.phaseChanged("syncStatusScanning", std::nullopt);
    const Scan found = scan(task);
    observer.phaseChanged("syncStatusDiff", std::nullopt);
    std::vector<File> differing;
    for (const File& file : found.files) {
        struct stat info {};
        if (lstat(file.localPath.c_str(), &info) == 0 &&
            !space.holds(file.remotePath, static_cast<std::uint64_t>(info.st_size), info.st_mtim))
            differing.push_back(file);
    }
    if (!differing.empty()) observer.phaseChanged("syncStatusEnqueueing", std::nullopt);
    announced.clear();
    for (const File& file : differing)
        take(task, file);
    if (task.kind == UploadTask::Kind::move)
        for (auto directory = found.directories.rbegin(); directory != found.directories.rend(); ++directory)
            ::rmdir(directory->c_str()); // one that still holds something stays
}

// Folders are made on the way, so that an empty one arrives too.
Uploader::Scan Uploader::scan(const UploadTask& task) {
    Scan found;
    std::vector<std::pair<fs::path, std::string>> open{{task.localPath, task.remotePath}};
    while (!open.empty() && !isStopping()) {
        auto [local, remote] = std::move(open.back());
        open.pop_back();
        if (!observer.isWanted(task, remote)) continue;
        std::error_code error;
        // The root of a task may be reached through a link, as the user chose it; what lies below may not.
        const bool isRoot = remote == task.remotePath;
        const fs::file_type type =
            (isRoot ? fs::status(local, error) : fs::symlink_status(local, error)).type();
        if (type == fs::file_type::regular) {
            found.files.push_back({local.string(), std::move(remote)});
            continue;
        }
        if (type != fs::file_type::directory) {
            log.info("Left out, neither a file nor a folder: ", local.string());
            continue;
        }
        if (!space.makeDirectory(remote)) {
            log.error("No folder ", remote, " can be made in the space; left out: ", local.string());
            continue;
        }
        found.directories.push_back(local.string());
        std::vector<fs::path> children;
        for (fs::directory_iterator entry(local, error), end; !error && entry != end; entry.increment(error))
            children.push_back(entry->path());
        if (error) log.error("Cannot read ", local.string(), ": ", error.message());
        // The last one is taken first: reversed order makes the upload go by name.
        std::sort(children.rbegin(), children.rend());
        for (fs::path& child : children) {
            const std::string name = child.filename().string();
            if (!isText(name)) {
                log.error("Left out, its name is no UTF-8: ", child.string());
                continue;
            }
            std::string childRemote = remoteChild(remote, name);
            open.emplace_back(std::move(child), std::move(childRemote));
        }
    }
    return found;
}

void Uploader::take(const UploadTask& task, const File& file) {
    if (!mayGoOn(task, file.remotePath)) return;
    if (!copy(task, file)) ::unlink(space.incomingFile().c_str());
}

// Waits while paused. False when the item is not wanted any more.
bool Uploader::mayGoOn(const UploadTask& task, const std::string& remotePath) {
    {
        std::unique_lock guard(lock);
        changed.wait(guard, [this] { return stopping || !paused; });
        if (stopping) return false;
    }
    return observer.isWanted(task, remotePath);
}

bool Uploader::copy(const UploadTask& task, const File& file) {
    const auto failed = [&](const char* what) {
        log.error("Cannot ", what, " ", file.localPath, ": ", std::strerror(errno));
        return false;
    };
    // Not through a link and without waiting for the other end of a pipe, whatever took the file's place.
    const bool isRoot = file.remotePath == task.remotePath;
    const Descriptor source(
        ::open(file.localPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | (isRoot ? 0 : O_NOFOLLOW)));
    struct stat before {};
    if (!source || fstat(source.get(), &before) != 0) return failed("read");
    if (!S_ISREG(before.st_mode)) return false;

    const fs::path incoming = space.incomingFile();
    const Descriptor target(::open(incoming.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    if (!target) return failed("receive");
    if (!transferBytes(task, file, source.get(), target.get(), static_cast<std::uint64_t>(before.st_size)))
        return false;

    const std::array<timespec, 2> times{before.st_atim, before.st_mtim};
    if (fchmod(target.get(), before.st_mode & 0777) != 0 || futimens(target.get(), times.data()) != 0)
        return failed("keep the attributes of");
    const bool isMove = task.kind == UploadTask::Kind::move;
    if (isMove && fsync(target.get()) != 0) return failed("store");
    const fs::path destination = space.localPath(file.remotePath);
    if (::rename(incoming.c_str(), destination.c_str()) != 0) return failed("store");
    if (isMove) {
        struct stat after {};
        if (fstat(source.get(), &after) != 0 || !sameContent(before, after))
            log.error("Changed while it was moved, so it stays: ", file.localPath);
        else if (::unlink(file.localPath.c_str()) != 0)
            log.error("Cannot remove ", file.localPath, ": ", std::strerror(errno));
    }
    return true;
}

bool Uploader::transferBytes(const UploadTask& task, const File& file, int source, int target,
                             std::uint64_t size) {
    // Under a throttle a chunk is at most a twentieth of a second, so that a pause or a stop is felt at once.
    std::vector<char> buffer(pace.bytesPerSecond == 0
                                 ? largestChunk
                                 : std::clamp<std::size_t>(pace.bytesPerSecond / 20, 1, largestChunk));
    while (true) {
        announce(file, size);
        const ssize_t count = ::read(source, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) continue;
        if (count == 0) return true;
        if (count < 0 || !writeAll(target, buffer.data(), static_cast<std::size_t>(count))) {
            log.error("Cannot copy ", file.localPath, ": ", std::strerror(errno));
            return false;
        }
        spend(static_cast<std::uint64_t>(count));
        if (!mayGoOn(task, file.remotePath)) return false;
    }
}

void Uploader::spend(std::uint64_t bytes) {
    if (pace.bytesPerSecond == 0) return;
    const std::chrono::duration<double> cost(static_cast<double>(bytes) /
                                             static_cast<double>(pace.bytesPerSecond));
    nextByte = std::max(nextByte, Clock::now()) + std::chrono::duration_cast<Clock::duration>(cost);
    std::unique_lock guard(lock);
    changed.wait_until(guard, nextByte, [this] { return stopping; });
}

void Uploader::announce(const File& file, std::uint64_t size) {
    if (announced == file.localPath) return;
    const Clock::time_point now = Clock::now();
    if (!announced.empty() && now - lastAnnouncement < pace.announcement) return;
    announced = file.localPath;
    lastAnnouncement = now;
    observer.phaseChanged("syncStatusTransfer", FileInFlight{file.localPath, size});
}

} // namespace sandbox
