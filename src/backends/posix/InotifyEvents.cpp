#include "backends/posix/InotifyEvents.h"

#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <poll.h>
#include <pthread.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace backends::posix {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t wanted = IN_CREATE | IN_CLOSE_WRITE | IN_ATTRIB | IN_MOVED_FROM | IN_MOVED_TO |
                                 IN_DELETE | IN_ONLYDIR | IN_DONT_FOLLOW | IN_EXCL_UNLINK;

// Whether a file that was just made is still to be written by somebody.
bool isBeingWritten(const std::string& path) {
    struct stat info {};
    return lstat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && info.st_nlink == 1;
}

// The part of a map whose keys are the directory and what lies below it. Other keys may lie between the two
// ("/a", "/a-b", "/a/x"), so the directory itself is apart.
template <typename Visitor>
void forTree(const std::map<std::string, int>& watches, const std::string& directory, Visitor&& visit) {
    if (const auto own = watches.find(directory); own != watches.end()) visit(*own);
    const std::string below = directory == "/" ? directory : directory + "/";
    for (auto each = watches.lower_bound(below); each != watches.end() && each->first.starts_with(below);
         ++each)
        visit(*each);
}

} // namespace

InotifyEvents::InotifyEvents()
    : events(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)), wakeUp(eventfd(0, EFD_CLOEXEC)) {
    if (events < 0 || wakeUp < 0) {
        const int problem = errno;
        if (events >= 0) ::close(events);
        if (wakeUp >= 0) ::close(wakeUp);
        throw std::system_error(problem, std::generic_category(), "inotify");
    }
}

InotifyEvents::~InotifyEvents() {
    stop();
    ::close(events);
    ::close(wakeUp);
}

void InotifyEvents::start(Handler eventHandler) {
    handler = std::move(eventHandler);
    thread = std::thread([this] { run(); });
    pthread_setname_np(thread.native_handle(), "inotify");
}

void InotifyEvents::stop() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(wakeUp, &one, sizeof one);
    if (thread.joinable()) thread.join();
}

bool InotifyEvents::watch(const std::string& directory) {
    const std::lock_guard guard(lock);
    const int watch = inotify_add_watch(events, directory.c_str(), wanted);
    // What vanishes meanwhile, or is not a directory, needs no watch.
    if (watch < 0) return errno == ENOENT || errno == ENOTDIR;
    // A directory that was moved keeps its watch and gets a new path.
    std::string& path = paths[watch];
    if (path != directory) {
        if (const auto former = watches.find(path); former != watches.end() && former->second == watch)
            watches.erase(former);
        path = directory;
    }
    watches[directory] = watch;
    return true;
}

// A directory is watched before it is read: what is made in it afterwards comes as an event.
bool InotifyEvents::watchTree(const std::string& directory) {
    bool isComplete = true;
    std::vector<std::string> open{directory};
    while (!open.empty()) {
        const std::string current = std::move(open.back());
        open.pop_back();
        if (!watch(current)) {
            isComplete = false;
            if (errno == ENOSPC) break; // the user has no watch left
        }
        std::error_code error;
        for (fs::directory_iterator entry(current, error), end; !error && entry != end;
             entry.increment(error)) {
            std::error_code unknown;
            // In this order the kind comes with the name, without another look at the disk.
            if (!entry->is_symlink(unknown) && entry->is_directory(unknown))
                open.push_back(entry->path().string());
        }
    }
    return isComplete;
}

void InotifyEvents::forgetTree(const std::string& directory) {
    const std::lock_guard guard(lock);
    std::vector<std::pair<std::string, int>> tree;
    forTree(watches, directory, [&tree](const auto& each) { tree.push_back(each); });
    for (const auto& [path, watch] : tree) {
        inotify_rm_watch(events, watch);
        watches.erase(path);
        paths.erase(watch);
    }
}

void InotifyEvents::run() {
    alignas(inotify_event) std::array<char, 1U << 16> buffer;
    while (true) {
        std::array<pollfd, 2> files{pollfd{events, POLLIN, 0}, pollfd{wakeUp, POLLIN, 0}};
        if (::poll(files.data(), files.size(), -1) < 0 && errno != EINTR) return;
        if (files[1].revents != 0) return;
        const ssize_t count = ::read(events, buffer.data(), buffer.size());
        for (ssize_t at = 0; at < count;) {
            inotify_event event;
            std::memcpy(&event, buffer.data() + at, sizeof event);
            // The name is padded with zero bytes.
            take(event, event.len > 0 ? buffer.data() + at + sizeof event : "");
            at += static_cast<ssize_t>(sizeof event + event.len);
        }
    }
}

void InotifyEvents::take(const inotify_event& event, std::string_view name) {
    if ((event.mask & IN_Q_OVERFLOW) != 0) return handler({{}, {}, true, 0, false});
    std::string directory;
    {
        const std::lock_guard guard(lock);
        const auto watched = paths.find(event.wd);
        if (watched == paths.end()) return; // of a watch that was forgotten
        directory = watched->second;
        if ((event.mask & IN_IGNORED) != 0) {
            if (const auto own = watches.find(directory); own != watches.end() && own->second == event.wd)
                watches.erase(own);
            paths.erase(watched);
            return;
        }
    }
    if (name.empty()) return; // of the directory itself: its parent tells
    const std::string path = (directory == "/" ? directory : directory + "/").append(name);
    if ((event.mask & IN_ISDIR) != 0 && (event.mask & IN_MOVED_FROM) != 0) forgetTree(path);
    if ((event.mask & IN_CREATE) != 0 && (event.mask & IN_ISDIR) == 0 && isBeingWritten(path)) return;
    handler({directory, std::string(name), false, event.cookie, (event.mask & IN_MOVED_TO) != 0});
}

} // namespace backends::posix
