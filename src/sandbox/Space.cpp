#include "sandbox/Space.h"

#include "sandbox/paths.h"
#include "sandbox/placement.h"

#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <unistd.h>
#include <utility>

namespace sandbox {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view privateName = ".tsyncquenz-sandbox";

fs::path trashFolder(const Space& space) { return space.privateFolder() / "trash"; }

bool isBelow(const fs::path& path, const fs::path& base) {
    const auto [inBase, inPath] = std::mismatch(base.begin(), base.end(), path.begin(), path.end());
    return inBase == base.end() && inPath != path.end();
}

// The trash's entries, the latest first.
std::vector<std::uint64_t> trashNumbers(const Space& space) {
    std::vector<std::uint64_t> numbers;
    std::error_code error;
    for (fs::directory_iterator entry(trashFolder(space), error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        std::uint64_t number = 0;
        const auto [after, problem] = std::from_chars(name.data(), name.data() + name.size(), number);
        if (problem == std::errc() && after == name.data() + name.size()) numbers.push_back(number);
    }
    std::sort(numbers.rbegin(), numbers.rend());
    return numbers;
}

} // namespace

Space::Space(const fs::path& folder) {
    fs::create_directories(folder);
    root = fs::canonical(folder);
    ownership = ::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (ownership < 0 || flock(ownership, LOCK_EX | LOCK_NB) != 0) {
        const std::error_code error(errno, std::generic_category());
        if (ownership >= 0) ::close(ownership);
        throw fs::filesystem_error("the space cannot be had, perhaps because another sandbox has it", root,
                                   error);
    }
    if (fs::is_symlink(fs::symlink_status(privateFolder()))) fs::remove(privateFolder());
    fs::create_directories(privateFolder());
    fs::remove(incomingFile());
    const std::vector<std::uint64_t> numbers = trashNumbers(*this);
    lastTrashed = numbers.empty() ? 0 : numbers.front();
}

Space::~Space() { ::close(ownership); }

fs::path Space::privateFolder() const { return root / privateName; }

std::optional<std::string> Space::plainPath(std::string_view remotePath) {
    std::optional<std::string> plain = sync_daemon::plainPath(remotePath);
    if (plain && isAtOrBelow(*plain, "/" + std::string(privateName))) plain.reset();
    return plain;
}

std::optional<fs::path> Space::localPath(std::string_view remotePath) const {
    if (isAtOrBelow(remotePath, "/" + std::string(privateName))) return std::nullopt;
    return confinedPath(root, remotePath);
}

ItemKind Space::kind(std::string_view remotePath) const {
    const std::optional<fs::path> path = localPath(remotePath);
    std::error_code error;
    const fs::file_type type = path ? fs::symlink_status(*path, error).type() : fs::file_type::not_found;
    switch (type) {
    case fs::file_type::regular:
        return ItemKind::file;
    case fs::file_type::directory:
        return ItemKind::folder;
    case fs::file_type::not_found:
    case fs::file_type::none:
        return ItemKind::missing;
    default:
        return ItemKind::other;
    }
}

std::vector<std::string> Space::directories(std::string_view remotePath) const {
    std::vector<std::string> found;
    if (kind(remotePath) != ItemKind::folder) return found;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(localPath(remotePath)->c_str()), ::closedir);
    while (const dirent* entry = folder ? ::readdir(folder.get()) : nullptr) {
        const std::string_view name = entry->d_name;
        if (name == "." || name == ".." || !isText(name) || (remotePath == "/" && name == privateName))
            continue;
        std::string path = remoteChild(remotePath, name);
        // Most file systems tell the kind with the name.
        if (entry->d_type == DT_DIR || (entry->d_type == DT_UNKNOWN && kind(path) == ItemKind::folder))
            found.push_back(std::move(path));
    }
    std::sort(found.begin(), found.end());
    return found;
}

bool Space::makeDirectory(std::string_view remotePath) const {
    return localPath(remotePath) && makeConfinedFolder(root, remotePath);
}

bool Space::holds(std::string_view remotePath, std::uint64_t size, const timespec& modified) const {
    const std::optional<fs::path> path = localPath(remotePath);
    struct stat info {};
    return path && lstat(path->c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
           static_cast<std::uint64_t>(info.st_size) == size && info.st_mtim.tv_sec == modified.tv_sec &&
           info.st_mtim.tv_nsec == modified.tv_nsec;
}

bool Space::isNewer(std::string_view remotePath, const timespec& modified) const {
    const std::optional<fs::path> path = localPath(remotePath);
    struct stat info {};
    if (!path || lstat(path->c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return false;
    return std::pair(info.st_mtim.tv_sec, info.st_mtim.tv_nsec) >
           std::pair(modified.tv_sec, modified.tv_nsec);
}

std::optional<std::string> Space::freePath(std::string_view remotePath) const {
    const fs::path wanted(remotePath);
    const std::string folder = wanted.parent_path().string();
    std::string candidate(remotePath);
    for (int number = 2;; ++number) {
        if (!localPath(candidate)) return std::nullopt;
        if (kind(candidate) == ItemKind::missing) return candidate;
        candidate = remoteChild(folder, numberedName(wanted, number));
    }
}

// The path of an item that is there, whatever it is; a link itself may go, what it leads to stays.
std::optional<fs::path> Space::existing(std::string_view remotePath) const {
    if (remotePath == "/" || kind(remotePath) == ItemKind::missing) return std::nullopt;
    return localPath(remotePath);
}

bool Space::rename(std::string_view remotePath, std::string_view newPath) const {
    const std::optional<fs::path> from = existing(remotePath);
    if (!from || isAtOrBelow(newPath, remotePath)) return false;
    if (!makeDirectory(fs::path(newPath).parent_path().string())) return false;
    const std::optional<fs::path> to = localPath(newPath);
    return to && renameWithoutReplacing(*from, *to);
}

bool Space::remove(std::string_view remotePath) const {
    const std::optional<fs::path> path = existing(remotePath);
    std::error_code error;
    if (path) fs::remove_all(*path, error); // links are removed, never followed
    return path && !error;
}

// The trash holds numbered folders, in each of which one item lies under its whole remote path; the highest
// number is the latest.
bool Space::trash(std::string_view remotePath) const {
    const std::optional<fs::path> path = existing(remotePath);
    const std::optional<fs::path> place = path ? placeInTrash(remotePath) : std::nullopt;
    std::error_code error;
    if (place) fs::rename(*path, *place, error);
    return place && !error;
}

bool Space::keepInTrash(std::string_view remotePath) const {
    const std::optional<fs::path> path = existing(remotePath);
    const std::optional<fs::path> place = path ? placeInTrash(remotePath) : std::nullopt;
    std::error_code error;
    if (place) fs::create_hard_link(*path, *place, error);
    return place && !error;
}

std::optional<fs::path> Space::placeInTrash(std::string_view remotePath) const {
    const fs::path place = trashFolder(*this) / std::to_string(++lastTrashed) / remotePath.substr(1);
    std::error_code error;
    fs::create_directories(place.parent_path(), error);
    return error ? std::nullopt : std::optional(place);
}

std::optional<std::string> Space::restore(std::string_view remotePath) const {
    if (remotePath == "/") return std::nullopt;
    for (const std::uint64_t number : trashNumbers(*this)) {
        const fs::path entry = trashFolder(*this) / std::to_string(number);
        const fs::path item = entry / remotePath.substr(1);
        std::error_code error;
        // A trashed folder may hold links, through which nothing is restored.
        if (!fs::exists(fs::symlink_status(item, error)) ||
            fs::canonical(item.parent_path(), error) != item.parent_path())
            continue;
        const bool hasFolder = makeDirectory(fs::path(remotePath).parent_path().string());
        std::optional<std::string> free = hasFolder ? freePath(remotePath) : std::nullopt;
        const std::optional<fs::path> place = free ? localPath(*free) : std::nullopt;
        if (!place) return std::nullopt;
        if (!renameWithoutReplacing(item, *place)) return std::nullopt;
        // Nothing but the empty way to the item is removed; an entry that holds more stays.
        for (fs::path way = item.parent_path(); isBelow(way, trashFolder(*this)); way = way.parent_path())
            if (!fs::remove(way, error) || error) break;
        return free;
    }
    return std::nullopt;
}

} // namespace sandbox
