#include "sync_daemon/renaming.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace sync_daemon {

int renameWithoutReplacing(int folder, const char* name, int toFolder, const char* newName) {
    if (::renameat2(folder, name, toFolder, newName, RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return errno;
    struct stat status {};
    if (::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return errno;
    if (!S_ISDIR(status.st_mode)) {
        if (::linkat(folder, name, toFolder, newName, 0) == 0)
            return ::unlinkat(folder, name, 0) == 0 ? 0 : errno;
        if (errno == EEXIST) return EEXIST; // what else may be wrong the rename tells as well
    }
    if (::fstatat(toFolder, newName, &status, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
    if (errno != ENOENT) return errno;
    return ::renameat(folder, name, toFolder, newName) == 0 ? 0 : errno;
}

} // namespace sync_daemon
