#include "backends/posix/FileWatch.h"

#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <poll.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace backends::posix {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t changes = IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO |
                                  IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

struct Place {
    fs::path folder;
    std::string name; // of the file, or of the folder above it that is missing
    bool operator==(const Place&) const = default;
};

// The nearest folder above the path that exists.
Place placeOf(fs::path path) {
    std::error_code error;
    while (path.has_relative_path() && !fs::is_directory(path.parent_path(), error))
        path = path.parent_path();
    return {path.parent_path(), path.filename()};
}

std::vector<Place> placesOf(const std::string& file) {
    std::vector<Place> places{placeOf(file)};
    std::error_code error;
    if (fs::is_symlink(file, error)) {
        const fs::path target = fs::weakly_canonical(file, error);
        if (!error) places.push_back(placeOf(target));
    }
    return places;
}

// A new file of one name: whoever made it has it open, and closing it is the change.
bool isBeingWritten(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1;
}

} // namespace

FileWatch::FileWatch(std::string path, std::function<void()> changed)
    : file(std::move(path)), handler(std::move(changed)), notify(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)),
      end(::eventfd(0, EFD_CLOEXEC)) {
    if (notify < 0 || end < 0) {
        const int error = errno;
        ::close(notify);
        ::close(end);
        throw std::system_error(error, std::generic_category(), "inotify");
    }
    watchFolders();
    thread = std::thread([this] { run(); });
}

FileWatch::~FileWatch() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(end, &one, sizeof one);
    thread.join();
    ::close(notify);
    ::close(end);
}

void FileWatch::watchFolders() {
    // A folder that appears between the look and the watch is seen at the next look.
    for (std::vector<Place> places, now = placesOf(file); places != now; now = placesOf(file)) {
        places = now;
        std::map<int, Folder> next;
        // A folder further up takes all of this with it when it is renamed. These first: a folder that is one
        // of the places too gets the larger mask.
        for (const Place& place : places) {
            for (fs::path above = place.folder; above.has_relative_path();) {
                above = above.parent_path();
                const int watch = ::inotify_add_watch(notify, above.c_str(), IN_MOVE_SELF | IN_ONLYDIR);
                if (watch >= 0) next[watch].path = above;
            }
        }
        for (const Place& place : places) {
            const int watch = ::inotify_add_watch(notify, place.folder.c_str(), changes);
            if (watch < 0) continue;
            next[watch].path = place.folder;
            next[watch].names.insert(place.name);
        }
        for (const auto& [watch, folder] : watched)
            if (!next.contains(watch)) ::inotify_rm_watch(notify, watch);
        watched = std::move(next);
    }
}

// Whether one of the events that wait is about the file.
bool FileWatch::readEvents() {
    bool matters = false;
    alignas(inotify_event) std::array<char, 4096> buffer;
    for (ssize_t length = 0; (length = ::read(notify, buffer.data(), buffer.size())) > 0;) {
        for (std::size_t at = 0; at < static_cast<std::size_t>(length);) {
            inotify_event event{};
            std::memcpy(&event, &buffer[at], sizeof event);
            const std::string name = event.len > 0 ? std::string(&buffer[at + sizeof event]) : std::string();
            at += sizeof event + event.len;
            if ((event.mask & IN_Q_OVERFLOW) != 0) matters = true;
            const auto watch = watched.find(event.wd);
            if (watch == watched.end()) continue;
            if (!name.empty() && !watch->second.names.contains(name)) continue;
            if ((event.mask & IN_CREATE) != 0 && isBeingWritten(watch->second.path + "/" + name)) continue;
            matters = true;
        }
    }
    return matters;
}

void FileWatch::run() {
    for (;;) {
        std::array<pollfd, 2> files{pollfd{notify, POLLIN, 0}, pollfd{end, POLLIN, 0}};
        if (::poll(files.data(), files.size(), -1) < 0 && errno != EINTR) return;
        if (files[1].revents != 0) return;
        if (!readEvents()) continue;
        watchFolders();
        handler();
    }
}

} // namespace backends::posix
