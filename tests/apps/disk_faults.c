/* A disk with faults, to be loaded before a program (LD_PRELOAD): a directory named "dead" is never opened,
 * as on a server that is gone, and one named "slow" only after 0.6 s. */
#define _GNU_SOURCE
#include <sys/syscall.h>

#include <fcntl.h>
#include <string.h>
#include <unistd.h>

int openat(int directory, const char* path, int flags, ...) {
    const char* slash = strrchr(path, '/');
    const char* name = slash != NULL ? slash + 1 : path;
    if (strcmp(name, "slow") == 0) usleep(600000);
    while (strcmp(name, "dead") == 0)
        pause();
    return (int)syscall(SYS_openat, directory, path, flags, 0666);
}

int open(const char* path, int flags, ...) { return openat(AT_FDCWD, path, flags); }
