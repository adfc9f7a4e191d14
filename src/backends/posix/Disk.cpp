#include "backends/posix/Disk.h"

#include <sys/stat.h>

#include <cstdlib>
#include <dirent.h>
#include <string_view>
#include <utility>

namespace backends::posix {

bool PosixDisk::exists(const std::string& path) const {
    struct stat status;
    return ::stat(path.c_str(), &status) == 0;
}

std::optional<platform::FileKind> PosixDisk::kind(const std::string& itsPath) const {
    struct stat target;
    struct stat item;
    if (::stat(itsPath.c_str(), &target) != 0 || ::lstat(itsPath.c_str(), &item) != 0) return std::nullopt;
    platform::FileKind kind{
        S_ISDIR(target.st_mode), S_ISLNK(item.st_mode), {target.st_dev, target.st_ino}, {}};
    if (kind.isLink) {
        char* const path = ::realpath(itsPath.c_str(), nullptr);
        if (path != nullptr) kind.leadsTo = path;
        std::free(path);
        return kind;
    }
    for (std::string& other : mounts.current()->otherPathsOf(itsPath)) {
        struct stat there;
        if (::stat(other.c_str(), &there) != 0 || there.st_dev != target.st_dev ||
            there.st_ino != target.st_ino)
            continue;
        kind.leadsTo = std::move(other);
        break;
    }
    return kind;
}

std::vector<std::string> PosixDisk::entryNames(const std::string& path) const {
    std::vector<std::string> names;
    DIR* const directory = ::opendir(path.c_str());
    if (directory == nullptr) return names;
    while (const dirent* entry = ::readdir(directory)) {
        const std::string_view name(entry->d_name);
        if (name != "." && name != "..") names.emplace_back(name);
    }
    ::closedir(directory);
    return names;
}

} // namespace backends::posix
