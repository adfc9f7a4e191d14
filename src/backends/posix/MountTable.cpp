#include "backends/posix/MountTable.h"

#include <array>
#include <fcntl.h>
#include <poll.h>
#include <sstream>
#include <unistd.h>

namespace backends::posix {
namespace {

// The kernel writes blanks, line ends and backslashes of a path as three octal digits.
std::string unescaped(const std::string& field) {
    std::string path;
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size()) {
            path += static_cast<char>((field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 +
                                      (field[i + 3] - '0'));
            i += 3;
        } else {
            path += field[i];
        }
    }
    return path;
}

} // namespace

MountPoints::MountPoints(const std::string& table) {
    std::istringstream lines(table);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string id;
        std::string parent;
        std::string device;
        std::string root;
        std::string path;
        if (!(fields >> id >> parent >> device >> root >> path)) continue;
        path = unescaped(path);
        topmost.insert_or_assign(path, mounts.size());
        mounts.push_back({path, device, unescaped(root)});
    }
}

std::string_view MountPoints::of(std::string_view path) const {
    while (path.size() > 1 && !contains(path)) {
        const std::size_t slash = path.rfind('/');
        if (slash == 0 || slash == path.npos) return path.substr(0, 1);
        path = path.substr(0, slash);
    }
    return path;
}

std::vector<std::string> MountPoints::otherPathsOf(std::string_view mountPoint) const {
    std::vector<std::string> paths;
    const auto found = topmost.find(mountPoint);
    if (found == topmost.end()) return paths;
    const Mount& mounted = mounts[found->second];
    const auto inside = [](const std::string& path) { return path == "/" ? std::string() : path; };
    for (const Mount& wider : mounts) {
        const std::string shown = inside(wider.root);
        if (wider.device == mounted.device && mounted.root.size() > shown.size() + 1 &&
            mounted.root.starts_with(shown + "/"))
            paths.push_back(inside(wider.path) + mounted.root.substr(shown.size()));
    }
    return paths;
}

MountTable::MountTable() : table(::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC)) { read(); }

MountTable::~MountTable() {
    if (table >= 0) ::close(table);
}

void MountTable::read() {
    std::string text;
    if (table >= 0 && ::lseek(table, 0, SEEK_SET) == 0) {
        std::array<char, 8192> buffer;
        ssize_t count = 0;
        while ((count = ::read(table, buffer.data(), buffer.size())) > 0)
            text.append(buffer.data(), static_cast<std::size_t>(count));
    }
    mountPoints = std::make_shared<MountPoints>(text);
}

std::shared_ptr<const MountPoints> MountTable::current() {
    const std::lock_guard guard(lock);
    pollfd change{table, POLLPRI, 0};
    if (table >= 0 && ::poll(&change, 1, 0) > 0) read();
    return mountPoints;
}

} // namespace backends::posix
