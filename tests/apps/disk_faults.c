/* A disk with faults, to be loaded before a program (LD_PRELOAD): a directory named "dead" is never opened,
 * as on a server that is gone, and one named "slow" only after 0.6 s; about an item named "broken" it has
 * nothing but an error, and about one named "held" nothing while nobody writes to the pipe that the
 * variable HELD_BY names. */
#define _GNU_SOURCE
#include <sys/stat.h>
#include <sys/syscall.h>

#include <errno.h>
#include <fcntl.h>
#include <stdbool.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static const char* name_of(const char* path) {
    const char* slash = strrchr(path, '/');
    return slash != NULL ? slash + 1 : path;
}

int openat(int directory, const char* path, int flags, ...) {
    const char* name = name_of(path);
    if (strcmp(name, "slow") == 0) usleep(600000);
    while (strcmp(name, "dead") == 0)
        pause();
    return (int)syscall(SYS_openat, directory, path, flags, 0666);
}

int open(const char* path, int flags, ...) { return openat(AT_FDCWD, path, flags); }

static bool is_broken(const char* path) {
    if (strcmp(name_of(path), "broken") != 0) return false;
    errno = EIO;
    return true;
}

int fstatat(int directory, const char* restrict path, struct stat* restrict status, int flags) {
    return is_broken(path) ? -1 : (int)syscall(SYS_newfstatat, directory, path, status, flags);
}

int statx(int directory, const char* restrict path, int flags, unsigned mask, struct statx* restrict status) {
    return is_broken(path) ? -1 : (int)syscall(SYS_statx, directory, path, flags, mask, status);
}

int stat(const char* restrict path, struct stat* restrict status) {
    const char* gate = getenv("HELD_BY");
    if (gate != NULL && strcmp(name_of(path), "held") == 0) close(open(gate, O_RDONLY));
    return fstatat(AT_FDCWD, path, status, 0);
}
