#include "service/UploadingFolder.h"

#include "service/names.h"
#include "sync_daemon/Descriptor.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <utility>

namespace service {
namespace {

namespace fs = std::filesystem;
using Duration = platform::Clock::TimePoint::duration;

constexpr std::chrono::seconds rest{2};
constexpr std::chrono::seconds longestWait{300};

// A lease on reading is granted when nobody has the file open for writing; where there are no leases nothing
// is known, and the rest has to do.
bool isWrittenTo(const fs::path& file) {
    const sync_daemon::Descriptor opened(
        ::open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!opened) return false;
    if (::fcntl(opened.get(), F_SETLEASE, F_RDLCK) != 0) return errno == EAGAIN;
    ::fcntl(opened.get(), F_SETLEASE, F_UNLCK);
    return false;
}

} // namespace

UploadingFolder::UploadingFolder(fs::path wanted, Carrier& wantedCarrier,
                                 platform::DirectoryEvents* directoryEvents, const platform::Clock& itsClock)
    : place(std::move(wanted)), carrier(wantedCarrier), events(directoryEvents), clock(itsClock),
      thread([this](const std::stop_token& stop) { run(stop); }) {}

UploadingFolder::~UploadingFolder() {
    thread.request_stop();
    thread.join();
}

void UploadingFolder::noticed() {
    const std::lock_guard guard(lock);
    isNoticed = true;
    wake.notify_all();
}

void UploadingFolder::holdEvents(bool hold) {
    const std::lock_guard guard(lock);
    holdsEvents = hold;
    isNoticed = isNoticed || !hold;
    wake.notify_all();
}

void UploadingFolder::run(const std::stop_token& stop) {
    bool isFull = false;
    Duration wait = rest;
    std::unique_lock guard(lock);
    while (!stop.stop_requested()) {
        const auto counts = [this] { return isNoticed && !holdsEvents; };
        if (!isFull) wake.wait(guard, stop, counts);
        const auto due = clock.now() + wait;
        while (isFull && !counts() && !stop.stop_requested() && clock.now() < due)
            wake.wait_until(guard, stop, clock.wakeUp(due), counts);
        if (stop.stop_requested()) return;
        if (holdsEvents) continue;
        wait = isNoticed ? Duration(rest) : std::min<Duration>(2 * wait, longestWait);
        isNoticed = false;
        guard.unlock();
        isFull = lookAtIt();
        guard.lock();
    }
}

bool UploadingFolder::hasRested(const fs::path& item, std::map<std::string, Rest>& now) const {
    struct stat info {};
    if (::lstat(item.c_str(), &info) != 0) return false;
    const std::string record =
        std::to_string(info.st_ino) + " " + std::to_string(info.st_size) + " " +
        std::to_string(info.st_mtim.tv_sec) + "." + std::to_string(info.st_mtim.tv_nsec) + " " +
        std::to_string(info.st_ctim.tv_sec) + "." + std::to_string(info.st_ctim.tv_nsec);
    const auto former = rests.find(item.string());
    const bool isSame = former != rests.end() && former->second.record == record;
    const Rest found = isSame ? former->second : Rest{record, clock.now()};
    now.emplace(item.string(), found);
    return clock.now() - found.since >= rest;
}

bool UploadingFolder::lookAtIt() {
    if (events) events->watchTree(place.string()); // folders may have come
    std::map<std::string, Rest> now;
    bool isFull = false;
    const auto remoteFolderOf = [this](const fs::path& item) {
        const fs::path above = item.parent_path().lexically_relative(place);
        return above == "." ? std::string("/") : "/" + above.string();
    };
    std::error_code error;
    for (auto at = fs::recursive_directory_iterator(place, error);
         !error && at != fs::recursive_directory_iterator(); at.increment(error)) {
        std::error_code gone;
        const fs::path& item = at->path();
        if (isPrivate(item.filename().string())) {
            at.disable_recursion_pending();
            continue;
        }
        const fs::file_status status = at->symlink_status(gone);
        const bool isEmpty = fs::is_directory(status) && fs::is_empty(item, gone);
        isFull = true;
        if (fs::is_regular_file(status) && hasRested(item, now) && !isWrittenTo(item))
            carrier.add({Carrier::Kind::move, item.string(), remoteFolderOf(item)});
        else if (isEmpty && hasRested(item, now))
            carrier.add({Carrier::Kind::folder, item.string(), remoteFolderOf(item)});
    }
    rests = std::move(now);
    return isFull;
}

} // namespace service
