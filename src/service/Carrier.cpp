#include "service/Carrier.h"

#include "service/names.h"
#include "service/pair_parts.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <random>

namespace service {
namespace {

namespace fs = std::filesystem;

// What tells whether an item, with all below it, is the one that went up.
std::string recordOfTree(const fs::path& item) {
    std::vector<std::string> lines;
    const auto add = [&lines](const fs::path& path) {
        struct stat info {};
        if (::lstat(path.c_str(), &info) != 0) return;
        std::string line = path.string() + " " + std::to_string(info.st_ino);
        if (!S_ISDIR(info.st_mode))
            line += " " + std::to_string(info.st_size) + " " + std::to_string(info.st_mtim.tv_sec) + "." +
                    std::to_string(info.st_mtim.tv_nsec);
        lines.push_back(std::move(line));
    };
    add(item);
    std::error_code error;
    for (auto at = fs::recursive_directory_iterator(item, error);
         !error && at != fs::recursive_directory_iterator(); at.increment(error))
        add(at->path());
    std::sort(lines.begin(), lines.end());
    std::string all;
    for (const std::string& line : lines)
        all += line + "\n";
    return all;
}

std::string newWord() {
    std::random_device device;
    return std::to_string(device()) + std::to_string(device());
}

} // namespace

Carrier::Carrier(RemoteSpace& realSpace, DesktopTrash& desktopTrash, platform::ProcessLog& processLog,
                 std::function<void()> hasChanged)
    : space(realSpace,
            [this](const std::optional<Transfer>& transfer) {
                {
                    const std::lock_guard guard(lock);
                    if (onItsWay == transfer) return;
                    onItsWay = transfer;
                }
                changed();
            }),
      trash(desktopTrash), log(processLog), changed(std::move(hasChanged)), privateWord(newWord()),
      thread([this](const std::stop_token& stop) { run(stop); }) {}

Carrier::~Carrier() {
    thread.request_stop();
    thread.join();
}

void Carrier::add(Task task) {
    const std::lock_guard guard(lock);
    if (std::find(waiting.begin(), waiting.end(), task) == waiting.end()) waiting.push_back(std::move(task));
    wake.notify_all();
}

std::vector<Carrier::Task> Carrier::tasks() const {
    const std::lock_guard guard(lock);
    std::vector<Task> all;
    if (inHand) all.push_back(*inHand);
    all.insert(all.end(), waiting.begin(), waiting.end());
    return all;
}

std::optional<Transfer> Carrier::transfer() const {
    const std::lock_guard guard(lock);
    return onItsWay;
}

void Carrier::run(const std::stop_token& stop) {
    std::unique_lock guard(lock);
    while (wake.wait(guard, stop, [this] { return !waiting.empty(); })) {
        inHand = waiting.front();
        waiting.pop_front();
        const Task task = *inHand;
        guard.unlock();
        const auto done = carry(task, stop);
        if (!done)
            log.error("Could not ", task.isMove ? "move " : "copy ", task.localPath, " to ",
                      task.remoteFolder, ": ", std::string_view(done.failure().text));
        guard.lock();
        inHand.reset();
        onItsWay.reset();
        guard.unlock();
        changed();
        guard.lock();
    }
}

Outcome<Done> Carrier::carry(const Task& task, const std::stop_token& stop) {
    const std::string name = lastOf(task.localPath);
    if (faultOf(name)) return Failure{Trouble::impossible, "no storage can hold its name"};
    const std::string before = recordOfTree(task.localPath);
    const std::string folder = task.remoteFolder.substr(1);
    if (!folder.empty())
        if (const auto made = space.makeFolder(folder).wait(stop); !made) return made.failure();

    const std::string privatePath =
        std::string(privatePrefix) + "/up/" + privateWord + "-" + std::to_string(++lastPrivate);
    const bool isFolder = fs::is_directory(fs::symlink_status(task.localPath));
    const auto up = bringUp(task.localPath, privatePath, stop);
    const auto giveUp = [&](Failure failure) {
        (void)(isFolder ? space.removeTree(privatePath) : space.removeFile(privatePath)).wait(stop);
        return failure;
    };
    if (!up) return giveUp(up.failure());
    const auto place = freePath(folder, name, stop);
    if (!place) return giveUp(place.failure());
    const auto placed =
        (isFolder ? space.moveFolder(privatePath, *place) : space.moveFile(privatePath, *place)).wait(stop);
    if (!placed) return placed.failure(); // where it is now nobody knows: it stays
    log.info(task.localPath, " lies in the space as /", *place);
    if (!task.isMove) return Done{};
    if (recordOfTree(task.localPath) != before)
        return Failure{Trouble::missing, "it changed while it went up, and stays here too"};
    return trash.trash(task.localPath);
}

// Regular files and folders; a move of anything else would lose it.
Outcome<Done> Carrier::bringUp(const std::string& localPath, const std::string& remotePath,
                               const std::stop_token& stop) {
    std::error_code error;
    const auto kind = fs::symlink_status(localPath, error).type();
    if (kind == fs::file_type::regular) return space.bringUp(localPath, remotePath).wait(stop);
    if (kind != fs::file_type::directory)
        return Failure{Trouble::impossible, localPath + " is no regular file and no folder"};
    if (const auto made = space.makeFolder(remotePath).wait(stop); !made) return made.failure();
    std::vector<std::string> names;
    for (auto at = fs::directory_iterator(localPath, error); !error && at != fs::directory_iterator();
         at.increment(error))
        names.push_back(at->path().filename().string());
    if (error) return Failure{Trouble::refused, localPath + ": " + error.message()};
    for (const std::string& name : names) {
        if (stop.stop_requested()) return Failure{Trouble::cancelled, "cancelled"};
        const std::string below = localPath + "/" + name;
        if (faultOf(name)) return Failure{Trouble::impossible, "no storage can hold the name of " + below};
        if (const auto up = bringUp(below, remotePath + "/" + name, stop); !up) return up.failure();
    }
    return Done{};
}

Outcome<std::string> Carrier::freePath(const std::string& folder, const std::string& name,
                                       const std::stop_token& stop) {
    const fs::path wanted(name);
    constexpr int tries = 1000;
    for (int number = 1; number < tries; ++number) {
        const std::string numbered =
            wanted.stem().string() + " (" + std::to_string(number) + ")" + wanted.extension().string();
        const std::string path = joined(folder, number == 1 ? name : numbered);
        const auto item = space.look(path, false).wait(stop);
        if (!item && item.failure().trouble != Trouble::missing) return item.failure();
        if (!item || !*item) return path;
    }
    return Failure{Trouble::other, "every name beside " + name + " is taken"};
}

} // namespace service
