#include "sync_daemon/writing.h"

#include "sync_daemon/Descriptor.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string>

namespace sync_daemon {

bool writeToDisk(const std::filesystem::path& path, std::string_view text) {
    const Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file) return false;
    while (!text.empty()) {
        const ssize_t written = ::write(file.get(), text.data(), text.size());
        if (written < 0 && errno != EINTR) return false;
        if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
    }
    return ::fsync(file.get()) == 0;
}

bool replaceOnDisk(const std::filesystem::path& path, std::string_view text) {
    const std::string beside = path.string() + ".new";
    return writeToDisk(beside, text) && ::rename(beside.c_str(), path.c_str()) == 0;
}

} // namespace sync_daemon
