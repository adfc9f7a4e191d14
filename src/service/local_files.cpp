#include "service/local_files.h"

#include <linux/openat2.h>
#include <sys/syscall.h>
#include <sys/xattr.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace service {

Failure failureOf(int error, const std::string& path) {
    Trouble trouble = Trouble::other;
    if (error == ENOENT || error == ENOTDIR || error == ELOOP) trouble = Trouble::missing;
    if (error == EACCES || error == EPERM || error == EROFS) trouble = Trouble::refused;
    if (error == ENOSPC || error == EDQUOT) trouble = Trouble::full;
    return {trouble, path + ": " + std::generic_category().message(error)};
}

File openBelow(int folder, const char* path, int flags, mode_t mode) {
    open_how how{};
    how.flags = static_cast<unsigned>(flags | O_CLOEXEC);
    how.mode = mode;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
    for (;;) {
        const long file = ::syscall(SYS_openat2, folder, path, &how, sizeof how);
        if (file >= 0 || (errno != EINTR && errno != EAGAIN)) return File(static_cast<int>(file));
    }
}

namespace {

constexpr unsigned wantedFields =
    STATX_TYPE | STATX_SIZE | STATX_MTIME | STATX_CTIME | STATX_INO | STATX_BTIME;

std::int64_t nanoseconds(const statx_timestamp& time) {
    return time.tv_sec * std::int64_t{1'000'000'000} + time.tv_nsec;
}

} // namespace

LocalRecord recordOf(const struct statx& status) {
    LocalRecord record;
    record.size = status.stx_size;
    record.modified = nanoseconds(status.stx_mtime);
    record.changed = nanoseconds(status.stx_ctime);
    record.inode = status.stx_ino;
    record.born = (status.stx_mask & STATX_BTIME) != 0 ? nanoseconds(status.stx_btime) : 0;
    return record;
}

int statusOf(int folder, const char* name, struct statx& status) {
    const int flags = AT_SYMLINK_NOFOLLOW | (*name == '\0' ? AT_EMPTY_PATH : 0);
    return ::statx(folder, name, flags, wantedFields, &status) == 0 ? 0 : errno;
}

void takeAlong(int from, int to) {
    struct stat status {};
    if (::fstat(from, &status) == 0) {
        [[maybe_unused]] const bool isOwned = ::fchown(to, status.st_uid, status.st_gid) == 0 ||
                                              ::fchown(to, static_cast<uid_t>(-1), status.st_gid) == 0;
        // As when it is written to: what comes from elsewhere does not run as its owner or group.
        (void)::fchmod(to, status.st_mode & 01777);
    }
    std::array<char, 65536> names{};
    const ssize_t length = ::flistxattr(from, names.data(), names.size());
    for (ssize_t at = 0; at < length;) {
        const char* const name = names.data() + at;
        at += static_cast<ssize_t>(std::char_traits<char>::length(name)) + 1;
        std::array<char, 65536> value{};
        const ssize_t size = ::fgetxattr(from, name, value.data(), value.size());
        if (size >= 0) (void)::fsetxattr(to, name, value.data(), static_cast<std::size_t>(size), 0);
    }
}

std::optional<bool> isAtRest(int file) {
    // Who opens the file just now makes the kernel send a signal: one that does nothing unless it is wanted.
    ::fcntl(file, F_SETSIG, SIGURG);
    if (::fcntl(file, F_SETLEASE, F_RDLCK) != 0) return errno == EAGAIN ? std::optional(false) : std::nullopt;
    ::fcntl(file, F_SETLEASE, F_UNLCK);
    return true;
}

} // namespace service
