#include "bench/snapshot/slow_disk.h"

#include <sys/syscall.h>

#include <atomic>
#include <cstdarg>
#include <ctime>
#include <unistd.h>

// The C library's functions of these names, in whose place these are linked. Their headers are not included:
// what these declare differs in what only the compiler looks at.

namespace {

std::atomic<long> answerTime = 0; // nanoseconds

void waitForAnswer() {
    const long time = answerTime.load(std::memory_order_relaxed);
    if (time == 0) return;
    const timespec duration{time / 1'000'000'000, time % 1'000'000'000};
    nanosleep(&duration, nullptr);
}

constexpr int kCurrentFolder = -100; // AT_FDCWD

} // namespace

namespace bench {

void setTimeOfAnswer(std::chrono::nanoseconds time) { answerTime = time.count(); }

} // namespace bench

extern "C" {

int openat(int directory, const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const int mode = va_arg(rest, int); // means nothing unless a file is made
    va_end(rest);
    waitForAnswer();
    return static_cast<int>(syscall(SYS_openat, directory, path, flags, mode));
}

int open(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const int mode = va_arg(rest, int);
    va_end(rest);
    return openat(kCurrentFolder, path, flags, mode);
}

int fstatat(int directory, const char* path, void* status, int flags) {
    waitForAnswer();
    return static_cast<int>(syscall(SYS_newfstatat, directory, path, status, flags));
}

int statx(int directory, const char* path, int flags, unsigned mask, void* status) {
    waitForAnswer();
    return static_cast<int>(syscall(SYS_statx, directory, path, flags, mask, status));
}

int stat(const char* path, void* status) { return fstatat(kCurrentFolder, path, status, 0); }

ssize_t getdents64(int directory, void* buffer, size_t size) {
    waitForAnswer();
    return syscall(SYS_getdents64, directory, buffer, size);
}
}
