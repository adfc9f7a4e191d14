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

std::string_view MountPoints::of(std::string_view path) const {
    while (path.size() > 1 && !contains(path)) {
        const std::size_t slash = path.rfind('/');
        if (slash == 0 || slash == path.npos) return path.substr(0, 1);
        path = path.substr(0, slash);
    }
    return path;
}

MountTable::MountTable() : table(::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC)) { read(); }

MountTable::~MountTable() {
    if (table >= 0) ::close(table);
}

void MountTable::read() {
    auto found = std::make_shared<MountPoints>();
    mountPoints = found;
    if (table < 0 || ::lseek(table, 0, SEEK_SET) != 0) return;
    std::string text;
    std::array<char, 8192> buffer;
    ssize_t count = 0;
    while ((count = ::read(table, buffer.data(), buffer.size())) > 0)
        text.append(buffer.data(), static_cast<std::size_t>(count));
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string id;
        std::string parent;
        std::string device;
        std::string root;
        std::string mountPoint;
        if (fields >> id >> parent >> device >> root >> mountPoint) found->add(unescaped(mountPoint));
    }
}

std::shared_ptr<const MountPoints> MountTable::current() {
    const std::lock_guard guard(lock);
    pollfd change{table, POLLPRI, 0};
    if (table >= 0 && ::poll(&change, 1, 0) > 0) read();
    return mountPoints;
}

} // namespace backends::posix
