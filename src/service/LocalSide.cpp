#include "service/LocalSide.h"

#include "service/local_files.h"
#include "service/names.h"
#include "sync_daemon/renaming.h"

#include <sys/random.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <iterator>
#include <memory>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace service {
namespace {

constexpr const char* markFile = "root";   // in the private folder
constexpr const char* keptFolder = "kept"; // in the same
constexpr std::size_t markLength = 32;     // hexadecimal digits

LocalItem itemOf(std::string path, const struct statx& status) {
    LocalItem item;
    item.path = std::move(path);
    item.record = recordOf(status);
    if (S_ISREG(status.stx_mode)) {
        item.shape = Shape::file;
    } else if (S_ISDIR(status.stx_mode)) {
        item.shape = Shape::folder;
        item.record.size = 0;
    } else {
        item.shape = Shape::unknown;
        item.reason = S_ISLNK(status.stx_mode) ? "a symbolic link" : "neither a file nor a folder";
    }
    return item;
}

LocalItem unknownItem(std::string path, int error) {
    LocalItem item;
    item.path = std::move(path);
    item.shape = Shape::unknown;
    item.reason = std::generic_category().message(error);
    return item;
}

std::string joined(const std::string& folder, std::string_view name) {
    return folder.empty() ? std::string(name) : folder + "/" + std::string(name);
}

std::string randomHex() {
    std::array<unsigned char, markLength / 2> bytes{};
    for (std::size_t have = 0; have < bytes.size();) {
        const ssize_t count = ::getrandom(bytes.data() + have, bytes.size() - have, 0);
        if (count > 0) have += static_cast<std::size_t>(count);
    }
    return hexOf(bytes);
}

struct DirectoryCloser {
    void operator()(DIR* stream) const { ::closedir(stream); }
};

} // namespace

LocalSide::LocalSide(std::filesystem::path folder, const platform::Clock& itsClock)
    : root(std::move(folder)), clock(itsClock) {
    rootFile = ::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (rootFile < 0)
        throw std::filesystem::filesystem_error("cannot be opened", root, {errno, std::generic_category()});
    putBackAside();
}

LocalSide::~LocalSide() { ::close(rootFile); }

std::optional<std::string> LocalSide::mark() const {
    const std::string path = joined(std::string(privatePrefix), markFile);
    const File file = openBelow(rootFile, path.c_str(), O_RDONLY);
    if (!file) return std::nullopt;
    std::array<char, markLength> text{};
    const ssize_t count = ::read(*file, text.data(), text.size());
    if (count != static_cast<ssize_t>(text.size())) return std::nullopt;
    return std::string(text.data(), text.size());
}

Outcome<std::string> LocalSide::setMark() {
    const std::string prefix(privatePrefix);
    if (::mkdirat(rootFile, prefix.c_str(), 0700) != 0 && errno != EEXIST) return failureOf(errno, prefix);
    const std::string text = randomHex();
    const std::string path = joined(prefix, markFile);
    const File file = openBelow(rootFile, path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (!file || ::write(*file, text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
        ::fsync(*file) != 0)
        return failureOf(errno, path);
    return text;
}

Outcome<std::vector<LocalItem>> LocalSide::look(const std::string& below, const IsLeftOut& isLeftOut,
                                                const std::stop_token& stop) const {
    auto items = list(below, isLeftOut);
    if (!items) return items;
    for (std::size_t index = 0; index < items->size(); ++index) {
        if ((*items)[index].shape != Shape::folder) continue;
        if (stop.stop_requested()) return Failure{Trouble::cancelled, "cancelled"};
        auto deeper = list((*items)[index].path, isLeftOut);
        if (deeper) {
            std::move(deeper->begin(), deeper->end(), std::back_inserter(*items));
            continue;
        }
        // A folder that cannot be read, or not to its end, is unknown with all below it.
        (*items)[index].shape = Shape::unknown;
        (*items)[index].reason = deeper.failure().text;
    }
    return items;
}

Outcome<std::vector<LocalItem>> LocalSide::list(const std::string& folder, const IsLeftOut& isLeftOut) const {
    File opened = openBelow(rootFile, folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY);
    const std::unique_ptr<DIR, DirectoryCloser> stream(opened ? ::fdopendir(*opened) : nullptr);
    if (!stream) return failureOf(errno, folder);
    const int number = opened.release();
    std::vector<LocalItem> items;
    for (;;) {
        errno = 0;
        const dirent* const entry = ::readdir(stream.get());
        if (!entry && errno != 0) return failureOf(errno, folder);
        if (!entry) return items;
        const std::string_view name = entry->d_name;
        if (name == "." || name == ".." || isPrivate(name)) continue;
        std::string path = joined(folder, name);
        if (isLeftOut && isLeftOut(path)) continue;
        struct statx status {};
        const int error = statusOf(number, entry->d_name, status);
        if (error == ENOENT) continue; // gone meanwhile
        items.push_back(error != 0 ? unknownItem(std::move(path), error) : itemOf(std::move(path), status));
    }
}

std::optional<LocalItem> LocalSide::lookAt(const std::string& path) const {
    std::string name;
    const File folder(openFolderOf(path, name));
    if (!folder) {
        if (errno == ENOENT || errno == ENOTDIR || errno == ELOOP) return std::nullopt;
        return unknownItem(path, errno);
    }
    struct statx status {};
    const int error = statusOf(*folder, name.c_str(), status);
    if (error == ENOENT) return std::nullopt;
    return error != 0 ? unknownItem(path, error) : itemOf(path, status);
}

bool LocalSide::isAtRest(const std::string& path) const {
    const File file = openBelow(rootFile, path.c_str(), O_RDONLY | O_NONBLOCK);
    return file && service::isAtRest(*file).value_or(false);
}

// The folder of an item, and the item's name in it. -1 with errno when the folder is not there.
int LocalSide::openFolderOf(const std::string& path, std::string& name) const {
    const std::size_t slash = path.rfind('/');
    name = slash == std::string::npos ? path : path.substr(slash + 1);
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash);
    return openBelow(rootFile, folder.c_str(), O_RDONLY | O_DIRECTORY).release();
}

Outcome<std::filesystem::path> LocalSide::incoming(const std::string& path) const {
    std::string name;
    const File folder(openFolderOf(path, name));
    if (!folder) return failureOf(errno, path);
    const std::size_t slash = path.rfind('/');
    const std::string place = slash == std::string::npos ? "" : path.substr(0, slash);
    return root / joined(place, std::string(privatePrefix) + "-in-" + randomHex());
}

Outcome<Done> LocalSide::makePrivateFolder(const std::string& path) const {
    for (const std::string& folder : {std::string(privatePrefix), path})
        if (::mkdirat(rootFile, folder.c_str(), 0700) != 0 && errno != EEXIST)
            return failureOf(errno, folder);
    return Done{};
}

Outcome<Done> LocalSide::flush() const {
    if (::syncfs(rootFile) != 0) return failureOf(errno, root.string());
    return Done{};
}

Outcome<Done> LocalSide::makeFolder(const std::string& path) const {
    std::string name;
    const File folder(openFolderOf(path, name));
    if (!folder || ::mkdirat(*folder, name.c_str(), 0777) != 0) return failureOf(errno, path);
    return Done{};
}

Outcome<Done> LocalSide::move(const std::string& path, const std::string& to) const {
    std::string name;
    std::string newName;
    const File folder(openFolderOf(path, name));
    if (!folder) return failureOf(errno, path);
    const File newFolder(openFolderOf(to, newName));
    if (!newFolder) return failureOf(errno, to);
    if (const int error =
            sync_daemon::renameWithoutReplacing(*folder, name.c_str(), *newFolder, newName.c_str()))
        return failureOf(error, to);
    return Done{};
}

std::string LocalSide::keptAt(const std::string& name) {
    return joined(joined(std::string(privatePrefix), keptFolder), name);
}

Outcome<std::string> LocalSide::newKeptPlace(const std::string& name) const {
    const std::string prefix(privatePrefix);
    const std::string kept = joined(prefix, keptFolder);
    if (::mkdirat(rootFile, prefix.c_str(), 0700) != 0 && errno != EEXIST) return failureOf(errno, prefix);
    if (::mkdirat(rootFile, kept.c_str(), 0700) != 0 && errno != EEXIST) return failureOf(errno, kept);
    const auto now = std::chrono::duration_cast<std::chrono::seconds>(clock.date().time_since_epoch());
    return keptAt(std::to_string(now.count()) + "-" + randomHex().substr(0, 8) + "-" + name.substr(0, 200));
}

Outcome<std::string> LocalSide::keep(const std::string& path, const std::string& name) const {
    auto place = newKeptPlace(name);
    if (!place) return place;
    if (const auto moved = move(path, *place); !moved) return moved.failure();
    return place;
}

bool LocalSide::isBeingWritten(const std::string& path) const {
    const File file = openBelow(rootFile, path.c_str(), O_RDONLY | O_NONBLOCK);
    return file && !service::isAtRest(*file).value_or(true);
}

void LocalSide::removeKept(std::chrono::sys_seconds before) const {
    const std::int64_t oldest = before.time_since_epoch().count();
    removeIn(keptAt(""), [oldest](const char* name, std::int64_t changed) {
        return *name != '.' && std::strtoll(name, nullptr, 10) < oldest && changed < oldest;
    });
}

void LocalSide::removeIn(const std::string& folder,
                         const std::function<bool(const char* name, std::int64_t changed)>& isOld) const {
    File opened = openBelow(rootFile, folder.c_str(), O_RDONLY | O_DIRECTORY);
    const std::unique_ptr<DIR, DirectoryCloser> stream(opened ? ::fdopendir(*opened) : nullptr);
    if (!stream) return;
    const int number = opened.release();
    std::vector<std::string> old;
    while (const dirent* const entry = ::readdir(stream.get())) {
        struct statx status {};
        if (statusOf(number, entry->d_name, status) == 0 && isOld(entry->d_name, status.stx_ctime.tv_sec))
            old.emplace_back(entry->d_name);
    }
    std::error_code ignored;
    for (const std::string& name : old) // folders too, with all that is in them
        std::filesystem::remove_all(root / folder / name, ignored);
}

void LocalSide::removeLeftovers(std::chrono::sys_seconds before, const std::stop_token& stop) const {
    const std::int64_t oldest = before.time_since_epoch().count();
    removeIn(std::string(privatePrefix), [oldest](const char* name, std::int64_t changed) {
        return std::string_view(name).starts_with("in-") && changed < oldest; // of many at once
    });
    const std::string prefix = std::string(privatePrefix) + "-";
    std::vector<std::string> folders{""};
    while (!folders.empty() && !stop.stop_requested()) {
        const std::string folder = std::move(folders.back());
        folders.pop_back();
        File opened = openBelow(rootFile, folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY);
        const std::unique_ptr<DIR, DirectoryCloser> stream(opened ? ::fdopendir(*opened) : nullptr);
        if (!stream) continue;
        const int number = opened.release();
        while (const dirent* const entry = ::readdir(stream.get())) {
            const std::string_view name = entry->d_name;
            struct statx status {};
            if (name == "." || name == ".." || statusOf(number, entry->d_name, status) != 0) continue;
            if (S_ISDIR(status.stx_mode) && !isPrivate(name)) folders.push_back(joined(folder, name));
            const bool isLeft = S_ISREG(status.stx_mode) && name.starts_with(prefix);
            if (isLeft && status.stx_ctime.tv_sec < oldest) ::unlinkat(number, entry->d_name, 0);
        }
    }
}

} // namespace service
