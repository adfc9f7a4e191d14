#include "service/SpaceSnapshot.h"

#include "dirsnapshot/DirSnapshot.h"
#include "platform/file_attributes.h"
#include "service/remote_look.h"

#include <utility>

namespace service {

namespace fs = std::filesystem;

SpaceSnapshot::SpaceSnapshot(RemoteSpace& remoteSpace, fs::path wanted, platform::ProcessLog& processLog,
                             const platform::Clock& itsClock)
    : space(remoteSpace), clock(itsClock), file(std::move(wanted)), log(processLog),
      thread([this](const std::stop_token& stop) { run(stop); }) {}

SpaceSnapshot::~SpaceSnapshot() {
    thread.request_stop();
    thread.join();
}

std::optional<std::string> SpaceSnapshot::take(std::chrono::milliseconds limit) {
    std::unique_lock guard(lock);
    isLooking = true;
    wake.notify_all();
    const auto due = clock.now() + limit;
    while (isLooking && clock.now() < due)
        wake.wait_until(guard, clock.wakeUp(due));
    const bool isOver = !isLooking;
    std::error_code error;
    const bool isThere = fs::exists(file.string() + ".db", error);
    if (!isThere || (isOver && !isWritten)) return std::nullopt;
    if (!isOver) log.info("The space is still looked at: its snapshot is that of an earlier look");
    return file.string();
}

void SpaceSnapshot::run(const std::stop_token& stop) {
    std::unique_lock guard(lock);
    while (wake.wait(guard, stop, [this] { return isLooking; })) {
        guard.unlock();
        const bool isDone = write(stop);
        guard.lock();
        isWritten = isDone;
        isLooking = false;
        wake.notify_all();
    }
}

bool SpaceSnapshot::write(const std::stop_token& stop) {
    const auto all = lookAtSpace(space, {}, {}, stop);
    if (!all) {
        log.error("No snapshot of the space: ", std::string_view(all.failure().text));
        return false;
    }
    constexpr double second = 1e9; // nanoseconds
    dirsnapshot::DirSnapshot snapshot(log);
    (void)snapshot.setRoot(dirsnapshot::emptyTree());
    for (const RemoteEntry& entry : *all) {
        const bool isFolder = entry.shape == Shape::folder;
        snapshot.addItemAtPath(
            "/" + entry.path,
            {{platform::NSFileType, isFolder ? platform::NSFileTypeDirectory : platform::NSFileTypeRegular},
             {platform::NSFileSize, entry.item.size},
             {platform::NSFileModificationDate, static_cast<double>(entry.item.modified) / second}});
    }
    // Beside, and then at once in the place of the former: rows of an older database would stay in it, and
    // somebody may be reading that.
    const fs::path beside = file.string() + "-new";
    const fs::path database = beside.string() + ".db";
    std::error_code error;
    fs::remove(database, error);
    snapshot.writeToFile(beside.string(), "sync");
    fs::rename(database, file.string() + ".db", error);
    if (error) log.error("No snapshot of the space: ", file.string(), ".db: ", error.message());
    return !error;
}

} // namespace service
