// Reading a directory: the one loop behind the scan's listings and d_scandir.
#pragma once

#include <sys/types.h>

#include <cerrno>
#include <cstddef>
#include <dirent.h>

namespace snapshot {

// Calls visit(const dirent64&) for each entry of an open directory, "." and ".." too, in the order of the
// file system, until it returns false. Returns 0, or the error number with which reading failed.
template <typename Visit>
int forEachEntry(int directory, Visit visit) {
    constexpr size_t readBytes = size_t{64} << 10; // few calls of the system also for large directories
    alignas(dirent64) char buffer[readBytes];
    while (true) {
        const ssize_t got = getdents64(directory, buffer, sizeof(buffer));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return errno;
        if (got == 0) return 0;
        for (const char* at = buffer; at < buffer + got;) {
            const auto* entry = reinterpret_cast<const dirent64*>(at);
            if (!visit(*entry)) return 0;
            at += entry->d_reclen;
        }
    }
}

} // namespace snapshot
