#include "snapshot/scan.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace snapshot {

namespace {

constexpr size_t kCapacityLimit = size_t{1} << 61;
constexpr size_t kSlotSize = sizeof(void*); // of an entry in the array

void release(dirent** entries, size_t count) {
    for (size_t i = 0; i < count; i++)
        free(entries[i]);
    free(static_cast<void*>(entries));
}

// Appends a copy of an entry. False when memory has run out; errno says so.
bool append(dirent**& entries, size_t& capacity, size_t& count, const dirent* entry) {
    if (count == capacity) {
        size_t larger = 2 * capacity + 1;
        if (larger >= kCapacityLimit) {
            errno = ENOMEM;
            return false;
        }
        void* grown = realloc(static_cast<void*>(entries), larger * kSlotSize);
        if (grown == nullptr) return false;
        entries = static_cast<dirent**>(grown);
        capacity = larger;
    }
    void* copy = malloc(entry->d_reclen);
    if (copy == nullptr) return false;
    memcpy(copy, entry, entry->d_reclen);
    entries[count++] = static_cast<dirent*>(copy);
    return true;
}

} // namespace

int d_scandir(const char* path, dirent*** entries, EntryFilter filter, EntryOrder order,
              const DSSnapshotOptions* /*options*/) {
    int errnoBefore = errno;
    DIR* directory = opendir(path);
    if (directory == nullptr) return -1;
    dirent** found = nullptr;
    size_t capacity = 0;
    size_t count = 0;
    while (true) {
        errno = 0;
        const dirent* entry = readdir(directory);
        if (entry == nullptr) break;
        if (filter != nullptr && filter(entry) == 0) continue;
        if (!append(found, capacity, count, entry)) break;
    }
    int failure = errno;
    closedir(directory);
    if (failure != 0) {
        release(found, count);
        errno = failure;
        return -1;
    }
    errno = errnoBefore;
    if (order != nullptr && count > 1)
        qsort(static_cast<void*>(found), count, kSlotSize,
              reinterpret_cast<int (*)(const void*, const void*)>(order));
    *entries = found;
    return static_cast<int>(count);
}

int _selectFunc(const dirent* entry) {
    return strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0 ? 1 : 0;
}

int _comparFunc(const dirent** first, const dirent** second) {
    return strcmp((*first)->d_name, (*second)->d_name);
}

} // namespace snapshot
