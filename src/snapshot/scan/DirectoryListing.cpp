#include "snapshot/scan/DirectoryListing.h"

#include "snapshot/DSNode.h"
#include "snapshot/scan/directory_entries.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>

namespace snapshot {

namespace {

uint64_t prefixOf(const char* name, size_t length) {
    unsigned char bytes[8] = {};
    memcpy(bytes, name, std::min(length, sizeof(bytes)));
    uint64_t prefix = 0;
    for (unsigned char byte : bytes)
        prefix = prefix << 8 | byte;
    return prefix;
}

// Names that one answer may hold, roughly.
constexpr size_t kAnswersAtOnce = 1'000;

bool isDotOrDotDot(const char* name) {
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

} // namespace

bool DirectoryListing::read(int directory, Asking::Thread* asking) {
    clear();
    const int error = forEachEntry(directory, [this, asking](const dirent64& entry) {
        if (!isDotOrDotDot(entry.d_name)) add(entry.d_name, entry.d_type == DT_DIR);
        if (asking != nullptr && _names.size() % kAnswersAtOnce == 0) asking->answered();
        return true;
    });
    if (error != 0) clear();
    sort();
    return error == 0 || isGone(error);
}

bool DirectoryListing::isGone(int error) { return error == ENOENT || error == ENOTDIR || error == ELOOP; }

void DirectoryListing::add(const char* name, bool isDirectory) {
    size_t length = strlen(name);
    _names.push_back({prefixOf(name, length), _bytes.size(), static_cast<uint32_t>(length), isDirectory});
    _bytes.insert(_bytes.end(), name, name + length + 1);
}

void DirectoryListing::sort() {
    const char* bytes = _bytes.data();
    std::ranges::sort(_names, [bytes](const Name& a, const Name& b) {
        if (a.prefix != b.prefix) return a.prefix < b.prefix;
        return strcmp(bytes + a.start, bytes + b.start) < 0;
    });
}

void DirectoryListing::examine(int directory, Asking::Thread* asking) {
    prepareToExamine();
    examine(directory, 0, _names.size(), asking);
}

void DirectoryListing::examine(int directory, size_t from, size_t to, Asking::Thread* asking) {
    for (size_t i = from; i < to; i++) {
        _statuses[i] = statusOf(directory, _bytes.data() + _names[i].start);
        if (asking != nullptr) asking->itemExamined();
    }
}

DirectoryListing::Status DirectoryListing::statusOf(int directory, const char* path) {
    struct stat status;
    if (fstatat(directory, path, &status, AT_SYMLINK_NOFOLLOW) != 0) return {};
    uint8_t type = 0;
    if (S_ISREG(status.st_mode))
        type = DSNodeTypeFile;
    else if (S_ISDIR(status.st_mode))
        type = DSNodeTypeDirectory;
    else if (S_ISLNK(status.st_mode))
        type = DSNodeTypeSymlink;
    return {status.st_size, status.st_mtim.tv_sec, status.st_atim.tv_sec, type};
}

void DirectoryListing::clear() {
    _names.clear();
    _statuses.clear();
    _bytes.clear();
}

} // namespace snapshot
