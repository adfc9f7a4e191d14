#include "snapshot/scan/directory_entries.h"
#include "snapshot/scan/scan.h"
#include "snapshot/tree/allocation.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <unistd.h>
#include <vector>

namespace snapshot {

namespace {

// The kernel's records are what readdir() would give.
static_assert(sizeof(dirent) == sizeof(dirent64) && offsetof(dirent, d_name) == offsetof(dirent64, d_name));

constexpr size_t kSlotSize = sizeof(void*); // of an entry in the array

struct Free {
    void operator()(void* memory) const { free(memory); }
};
using Entry = std::unique_ptr<dirent, Free>;

} // namespace

int d_scandir(const char* path, dirent*** entries, EntryFilter filter, EntryOrder order,
              const DSSnapshotOptions* /*options*/) {
    const int errnoBefore = errno;
    const int directory = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK);
    if (directory < 0) return -1;
    std::vector<Entry> found;
    const int error = forEachEntry(directory, [&](const dirent64& record) {
        const auto* entry = reinterpret_cast<const dirent*>(&record);
        if (filter != nullptr && filter(entry) == 0) return true;
        found.emplace_back(static_cast<dirent*>(allocate(entry->d_reclen)));
        memcpy(found.back().get(), entry, entry->d_reclen);
        return true;
    });
    close(directory);
    errno = error != 0 ? error : errnoBefore;
    if (error != 0) return -1;
    *entries = static_cast<dirent**>(allocate(std::max<size_t>(found.size(), 1) * kSlotSize));
    std::ranges::transform(found, *entries, [](Entry& entry) { return entry.release(); });
    if (order != nullptr)
        qsort(static_cast<void*>(*entries), found.size(), kSlotSize,
              reinterpret_cast<int (*)(const void*, const void*)>(order));
    return static_cast<int>(found.size());
}

int _selectFunc(const dirent* entry) {
    return strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0 ? 1 : 0;
}

int _comparFunc(const dirent** first, const dirent** second) {
    return strcmp((*first)->d_name, (*second)->d_name);
}

} // namespace snapshot
