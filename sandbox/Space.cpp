#include "sandbox/Space.h"

#include "platform/Json.h"

#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace sandbox {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view privateName = ".tsyncquenz-sandbox";

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
    fs::remove_all(privateFolder());
    fs::create_directories(privateFolder());
}

Space::~Space() { ::close(ownership); }

fs::path Space::privateFolder() const { return root / privateName; }

std::optional<std::string> Space::plainPath(std::string_view remotePath) {
    if (!remotePath.starts_with('/') || remotePath.find('\0') != std::string_view::npos ||
        !isText(remotePath))
        return std::nullopt;
    std::string plain;
    while (!remotePath.empty()) {
        remotePath.remove_prefix(1); // the separator
        const std::string_view component = remotePath.substr(0, remotePath.find('/'));
        remotePath.remove_prefix(component.size());
        if (component.empty() || component == ".") continue;
        if (component == ".." || (plain.empty() && component == privateName)) return std::nullopt;
        plain += '/';
        plain += component;
    }
    return plain.empty() ? "/" : plain;
}

bool Space::isWithin(std::string_view remotePath, std::string_view base) {
    if (base == "/") return true;
    return remotePath.starts_with(base) &&
           (remotePath.size() == base.size() || remotePath[base.size()] == '/');
}

fs::path Space::localPath(std::string_view remotePath) const { return root / remotePath.substr(1); }

std::vector<std::string> Space::directories(std::string_view remotePath) const {
    std::vector<std::string> found;
    std::error_code error;
    for (fs::directory_iterator entry(localPath(remotePath), error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code unknownKind;
        if (entry->symlink_status(unknownKind).type() != fs::file_type::directory) continue;
        const std::string name = entry->path().filename().string();
        if (!isText(name) || (remotePath == "/" && name == privateName)) continue;
        found.push_back(remoteChild(remotePath, name));
    }
    std::sort(found.begin(), found.end());
    return found;
}

std::uint64_t Space::countDirectories(std::string_view remotePath) const {
    return directories(remotePath).size();
}

bool Space::makeDirectory(std::string_view remotePath) const {
    std::error_code error;
    fs::create_directories(localPath(remotePath), error);
    return !error;
}

bool Space::holds(std::string_view remotePath, std::uint64_t size, const timespec& modified) const {
    struct stat info {};
    return lstat(localPath(remotePath).c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
           static_cast<std::uint64_t>(info.st_size) == size && info.st_mtim.tv_sec == modified.tv_sec &&
           info.st_mtim.tv_nsec == modified.tv_nsec;
}

std::string Space::freePath(std::string_view remotePath) const {
    const fs::path wanted(remotePath);
    const std::string folder = wanted.parent_path().string();
    std::string candidate(remotePath);
    std::error_code error;
    for (int number = 2; fs::exists(fs::symlink_status(localPath(candidate), error)); ++number)
        candidate = remoteChild(folder, wanted.stem().string() + " (" + std::to_string(number) + ")" +
                                            wanted.extension().string());
    return candidate;
}

bool isText(std::string_view path) { return platform::jsonText(platform::Value(path)).has_value(); }

std::string remoteChild(std::string_view folder, std::string_view name) {
    std::string path(folder == "/" ? "" : folder);
    path += '/';
    path += name;
    return path;
}

} // namespace sandbox
