#include "service/Carrier.h"

#include "platform/json.h"
#include "service/names.h"
#include "service/pair_parts.h"
#include "service/remote_look.h"
#include "service/remote_move.h"
#include "sync_daemon/renaming.h"
#include "sync_daemon/writing.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <random>
#include <system_error>

namespace service {
namespace {

namespace fs = std::filesystem;

// Tells whether an item, with all that goes up of it, is the one that went up.
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
        if (isPrivate(at->path().filename().string()))
            at.disable_recursion_pending();
        else
            add(at->path());
    std::sort(lines.begin(), lines.end());
    std::string all;
    for (const std::string& line : lines)
        all += line + "\n";
    return all;
}

// [is over, kind, local path, remote path], and of what is about to get its name behind that
// [private path, place, is a folder, size, time of change, record]
struct Line {
    bool isOver;
    Carrier::Task task;
    std::optional<Carrier::Placing> placing;
};
constexpr std::size_t shortLine = 4;
constexpr std::size_t longLine = 10;

std::optional<Carrier::Placing> readPlacing(const platform::Array& parts) {
    const auto text = [&parts](std::size_t index) { return parts[index].string(); };
    const auto isFolder = parts[6].boolean();
    const auto size = parts[7].signedInteger();
    const auto modified = parts[8].signedInteger();
    if (!text(4) || !text(5) || !isFolder || !size || !modified || !text(9)) return std::nullopt;
    return Carrier::Placing{*text(4),  *text(5), *isFolder, static_cast<std::uint64_t>(*size),
                            *modified, *text(9)};
}

std::optional<Line> readLine(const std::string& line) {
    const auto value = platform::valueOfJson(line);
    const platform::Array* parts = value ? value->array() : nullptr;
    if (!parts || (parts->size() != shortLine && parts->size() != longLine)) return std::nullopt;
    const auto isOver = (*parts)[0].boolean();
    const auto kind = (*parts)[1].signedInteger();
    const auto* local = (*parts)[2].string();
    const auto* remote = (*parts)[3].string();
    if (!isOver || !kind || *kind < 0 || *kind > static_cast<int>(Carrier::Kind::download) || !local ||
        !remote)
        return std::nullopt;
    Line read{*isOver, {static_cast<Carrier::Kind>(*kind), *local, *remote}, {}};
    if (parts->size() == longLine) read.placing = readPlacing(*parts);
    return read;
}

std::string lineOf(const Carrier::Task& task, bool isOver, const Carrier::Placing* placing = nullptr) {
    platform::Array parts{isOver, static_cast<std::int64_t>(task.kind), task.localPath, task.remotePath};
    if (placing != nullptr)
        for (const platform::Value& part :
             {platform::Value(placing->privatePath), platform::Value(placing->place),
              platform::Value(placing->isFolder), platform::Value(static_cast<std::int64_t>(placing->size)),
              platform::Value(placing->modified), platform::Value(placing->record)})
            parts.push_back(part);
    const auto text = platform::jsonText(parts);
    return text ? *text + "\n" : ""; // no text: what lies in the uploading folder is found again there
}

// What an earlier object left, with a file that holds no more than that.
Carrier::List readList(const fs::path& list) {
    Carrier::List left;
    const auto isOf = [](const Carrier::Task& task) {
        return [&task](const auto& placing) { return placing.first == task; };
    };
    std::ifstream stream(list, std::ios::binary);
    for (std::string line; std::getline(stream, line);) {
        const auto read = readLine(line); // the last line may be half
        if (!read) continue;
        std::erase_if(left.placings, isOf(read->task));
        if (read->placing)
            left.placings.emplace_back(read->task, *read->placing);
        else if (read->isOver)
            std::erase(left.tasks, read->task);
        else
            left.tasks.push_back(read->task);
    }
    std::string text;
    for (const Carrier::Task& task : left.tasks)
        text += lineOf(task, false);
    for (const auto& [task, placing] : left.placings)
        text += lineOf(task, false, &placing);
    sync_daemon::replaceOnDisk(list, text); // else it is longer than it has to be
    return left;
}

std::string newWord() {
    std::random_device device;
    return std::to_string(device()) + std::to_string(device());
}

} // namespace

std::string numberedName(const std::string& name, int number) {
    if (number == 1) return name;
    const fs::path wanted(name);
    return wanted.stem().string() + " (" + std::to_string(number) + ")" + wanted.extension().string();
}

Carrier::Carrier(RemoteSpace& realSpace, DesktopTrash& desktopTrash, platform::ProcessLog& processLog,
                 std::function<void()> hasChanged, bool isPaused, fs::path listFile)
    : space(realSpace,
            [this](const std::optional<Transfer>& transfer) {
                {
                    const std::lock_guard guard(lock);
                    if (onItsWay == transfer) return;
                    onItsWay = transfer;
                }
                changed();
            }),
      trash(desktopTrash), log(processLog), changed(std::move(hasChanged)), list(std::move(listFile)),
      privateWord(newWord()), left(readList(list)), waiting(left.tasks), paused(isPaused),
      thread([this](const std::stop_token& stop) { run(stop); }) {}

Carrier::~Carrier() {
    thread.request_stop();
    {
        const std::lock_guard guard(lock);
        current.request_stop();
    }
    thread.join();
}

void Carrier::add(Task task) {
    const std::lock_guard guard(lock);
    if (inHand == task || std::find(waiting.begin(), waiting.end(), task) != waiting.end()) return;
    note(task, false);
    waiting.push_back(std::move(task));
    wake.notify_all();
}

void Carrier::note(const Task& task, bool isOver) { write(lineOf(task, isOver), isOver && waiting.empty()); }

void Carrier::notePlacing(const Task& task, const Placing& placing) {
    const std::lock_guard guard(lock);
    write(lineOf(task, false, &placing), false);
}

// A kill must not lose it; the machine may go down before it is on the disk.
void Carrier::write(const std::string& line, bool isLast) {
    std::ofstream stream(list, std::ios::binary | (isLast ? std::ios::trunc : std::ios::app));
    if (!isLast) stream << line;
    if (!stream.flush()) log.error("What is to be brought cannot be remembered: ", list.string());
}

void Carrier::setPaused(bool pause) {
    const std::lock_guard guard(lock);
    paused = pause;
    if (pause) current.request_stop();
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
    ending = stop;
    std::unique_lock guard(lock);
    while (wake.wait(guard, stop, [this] { return !waiting.empty() && !paused; })) {
        inHand = waiting.front();
        waiting.pop_front();
        current = std::stop_source();
        transferring = current.get_token();
        const Task task = *inHand;
        guard.unlock();
        const auto done = carry(task);
        const bool isCancelled = !done && done.failure().trouble == Trouble::cancelled;
        if (!done && !isCancelled)
            log.error(task.kind == Kind::download ? "Could not download " : "Could not bring up ",
                      task.kind == Kind::download ? task.remotePath : task.localPath, " to ",
                      task.kind == Kind::download ? task.localPath : task.remotePath, ": ",
                      std::string_view(done.failure().text));
        guard.lock();
        if (isCancelled) // by a pause, or at the end
            waiting.push_front(task);
        else
            note(task, true);
        inHand.reset();
        onItsWay.reset();
        guard.unlock();
        changed();
        guard.lock();
    }
}

Outcome<Done> Carrier::carry(const Task& task) {
    switch (task.kind) {
    case Kind::download:
        return bringOneDown(task);
    case Kind::folder:
        return makeOneFolder(task);
    case Kind::copy:
    case Kind::move:
        break;
    }
    return bringOneUp(task);
}

Outcome<Done> Carrier::bringOneUp(const Task& task) {
    const auto before = std::find_if(left.placings.begin(), left.placings.end(),
                                     [&task](const auto& each) { return each.first == task; });
    if (before != left.placings.end()) {
        const Placing placing = before->second;
        const auto isThere = isPlaced(placing);
        if (!isThere) return isThere.failure();
        left.placings.erase(before);
        if (*isThere) return finish(task, placing);
        discard(placing);
    }
    const std::string name = lastOf(task.localPath);
    if (faultOf(name)) return Failure{Trouble::impossible, "no storage can hold its name"};
    const std::string folder = task.remotePath.substr(1);
    if (!folder.empty())
        if (const auto made = space.makeFolder(folder).wait(ending); !made) return made.failure();

    const auto up = bringUpUnchanged(task.localPath, fs::is_directory(fs::symlink_status(task.localPath)));
    if (!up) return up.failure();
    Placing placing = *up;
    const auto item = space.look(placing.privatePath, false).wait(ending);
    const auto place = item ? freePath(folder, name) : Outcome<std::string>(item.failure());
    if (!place) {
        discard(placing);
        return place.failure();
    }
    placing.place = *place;
    if (*item && !placing.isFolder) {
        placing.size = (*item)->size;
        placing.modified = (*item)->modified;
    }
    notePlacing(task, placing);
    const auto placed = moveIfFree(space, placing.privatePath, placing.place, placing.isFolder, ending);
    if (!placed) return placed.failure(); // a leftover by now, or nobody knows where it is: it stays
    return finish(task, placing);
}

// Whether what was about to get its name has it: somebody else may have it instead.
Outcome<bool> Carrier::isPlaced(const Placing& placing) {
    const auto isLeft = isInSpace(space, placing.privatePath, ending);
    if (!isLeft || *isLeft) return isLeft ? Outcome<bool>(false) : isLeft;
    const auto item = space.look(placing.place, false).wait(ending);
    if (!item && item.failure().trouble != Trouble::missing) return item.failure();
    if (!item || !*item) return false;
    if (placing.isFolder) return (*item)->kind == RemoteItem::Kind::folder;
    return (*item)->kind == RemoteItem::Kind::file && (*item)->size == placing.size &&
           (*item)->modified == placing.modified;
}

void Carrier::discard(const Placing& placing) {
    const std::string& path = placing.privatePath;
    (void)(placing.isFolder ? space.removeTree(path) : space.removeFile(path)).wait(ending);
}

Outcome<Done> Carrier::finish(const Task& task, const Placing& placing) {
    log.info(task.localPath, " lies in the space as /", placing.place);
    if (task.kind == Kind::copy) return Done{};
    if (wordOf(recordOfTree(task.localPath)) != placing.record)
        return Failure{Trouble::missing, "it changed while it went up, and stays here too"};
    return trash.trash(task.localPath);
}

// Under a private name. What changes meanwhile goes up again, also where the change is why it failed: a file
// that goes as it is about to be read.
Outcome<Carrier::Placing> Carrier::bringUpUnchanged(const std::string& localPath, bool isFolder) {
    constexpr int tries = 3;
    for (int number = 0; number < tries; ++number) {
        Placing placing;
        placing.isFolder = isFolder;
        placing.record = wordOf(recordOfTree(localPath));
        placing.privatePath =
            std::string(privatePrefix) + "/up/" + privateWord + "-" + std::to_string(++lastPrivate);
        const auto up = bringUp(localPath, placing.privatePath);
        const bool isSame = wordOf(recordOfTree(localPath)) == placing.record;
        if (up && isSame) return placing;
        discard(placing);
        if (!up && (isSame || up.failure().trouble == Trouble::cancelled)) return up.failure();
    }
    return Failure{Trouble::other, "it changes all the time"};
}

Outcome<Done> Carrier::makeOneFolder(const Task& task) {
    if (faultOf(lastOf(task.localPath))) return Failure{Trouble::impossible, "no storage can hold its name"};
    const std::string folder = task.remotePath.substr(1);
    auto made = space.makeFolder(joined(folder, lastOf(task.localPath))).wait(ending);
    std::error_code ignored; // something may have come into it
    if (made) fs::remove(task.localPath, ignored);
    return made;
}

Outcome<Done> Carrier::bringOneDown(const Task& task) {
    const fs::path folder(task.localPath);
    const std::string path = task.remotePath.substr(1);
    const auto item = space.look(path, false).wait(ending);
    if (!item) return item.failure();
    if (!*item) return Failure{Trouble::missing, "nothing is there"};
    const fs::path hidden =
        folder / (std::string(privatePrefix) + "-in-" + privateWord + "-" + std::to_string(++lastPrivate));
    const auto down = (*item)->kind == RemoteItem::Kind::folder
                          ? bringTreeDown(path, hidden)
                          : space.bringDown(path, hidden.string(), (*item)->size).wait(transferring);
    const std::string name = lastOf(path);
    int error = EEXIST;
    constexpr int tries = 1000;
    for (int number = 1; down && error == EEXIST && number < tries; ++number) {
        const fs::path target = folder / numberedName(name, number);
        error = sync_daemon::renameWithoutReplacing(AT_FDCWD, hidden.c_str(), AT_FDCWD, target.c_str());
        if (error == 0) log.info(task.remotePath, " was downloaded to ", target.string());
    }
    if (down && error == 0) return Done{};
    std::error_code ignored;
    fs::remove_all(hidden, ignored);
    if (!down) return down.failure();
    return Failure{Trouble::other, std::generic_category().message(error)};
}

Outcome<Done> Carrier::bringTreeDown(const std::string& remotePath, const fs::path& folder) {
    const auto all = lookAtSpace(space, remotePath, {}, transferring);
    if (!all) return all.failure();
    std::error_code error;
    fs::create_directory(folder, error);
    for (const RemoteEntry& entry : *all) {
        if (error) return Failure{Trouble::other, folder.string() + ": " + error.message()};
        if (entry.shape == Shape::unknown) {
            log.error("Not downloaded: /", remotePath, "/", entry.path, ": ", std::string_view(entry.reason));
        } else if (entry.shape == Shape::folder) {
            fs::create_directory(folder / entry.path, error);
        } else {
            const auto down = space
                                  .bringDown(joined(remotePath, entry.path), (folder / entry.path).string(),
                                             entry.item.size)
                                  .wait(transferring);
            if (!down) return down.failure();
        }
    }
    if (error) return Failure{Trouble::other, folder.string() + ": " + error.message()};
    return Done{};
}

// Regular files and folders; a move of anything else would lose it.
Outcome<Done> Carrier::bringUp(const std::string& localPath, const std::string& remotePath) {
    std::error_code error;
    const auto kind = fs::symlink_status(localPath, error).type();
    if (kind == fs::file_type::regular) return space.bringUp(localPath, remotePath).wait(transferring);
    if (kind != fs::file_type::directory)
        return Failure{Trouble::impossible, localPath + " is neither a regular file nor a folder"};
    if (const auto made = space.makeFolder(remotePath).wait(ending); !made) return made.failure();
    std::vector<std::string> names;
    for (auto at = fs::directory_iterator(localPath, error); !error && at != fs::directory_iterator();
         at.increment(error))
        names.push_back(at->path().filename().string());
    if (error) return Failure{Trouble::refused, localPath + ": " + error.message()};
    for (const std::string& name : names) {
        if (transferring.stop_requested()) return Failure{Trouble::cancelled, "cancelled"};
        if (isPrivate(name)) continue; // such as what a pair keeps in its folder
        const std::string below = joined(localPath, name);
        if (faultOf(name)) return Failure{Trouble::impossible, "no storage can hold the name of " + below};
        if (const auto up = bringUp(below, joined(remotePath, name)); !up) return up.failure();
    }
    return Done{};
}

Outcome<std::string> Carrier::freePath(const std::string& folder, const std::string& name) {
    constexpr int tries = 1000;
    for (int number = 1; number < tries; ++number) {
        const std::string path = joined(folder, numberedName(name, number));
        const auto item = space.look(path, false).wait(ending);
        if (!item && item.failure().trouble != Trouble::missing) return item.failure();
        if (!item || !*item) return path;
    }
    return Failure{Trouble::other, "every name beside " + name + " is taken"};
}

} // namespace service
