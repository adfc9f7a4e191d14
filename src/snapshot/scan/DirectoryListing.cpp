#include "snapshot/scan/DirectoryListing.h"

#include "snapshot/DSNode.h"
#include "snapshot/scan/directory_entries.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

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

uint8_t kindOf(mode_t mode) {
    if (S_ISREG(mode)) return DSNodeTypeFile;
    if (S_ISDIR(mode)) return DSNodeTypeDirectory;
    return S_ISLNK(mode) ? DSNodeTypeSymlink : 0;
}

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

void DirectoryListing::addKnown(std::string_view name) {
    _names.push_back({0, _bytes.size(), static_cast<uint32_t>(name.size()), false});
    _bytes.insert(_bytes.end(), name.begin(), name.end());
    _bytes.push_back('\0');
}

void DirectoryListing::sort() {
    const char* bytes = _bytes.data();
    std::ranges::sort(_names, [bytes](const Name& a, const Name& b) {
        if (a.prefix != b.prefix) return a.prefix < b.prefix;
        return strcmp(bytes + a.start, bytes + b.start) < 0;
    });
}

void DirectoryListing::prepareToExamine() {
    _statuses.resize(_names.size());
    if (_keepsEvidence) _evidence.resize(_names.size());
}

void DirectoryListing::examine(int directory, Asking::Thread* asking) {
    prepareToExamine();
    examine(directory, 0, _names.size(), asking);
}

void DirectoryListing::examine(int directory, size_t from, size_t to, Asking::Thread* asking) {
    for (size_t i = from; i < to; i++)
        examineOne(i, directory, _bytes.data() + _names[i].start, asking);
}

void DirectoryListing::examineBelow(const std::string& directory, Asking::Thread* asking) {
    prepareToExamine();
    std::string path = directory.ends_with('/') ? directory : directory + "/";
    const size_t end = path.size();
    for (size_t i = 0; i < _names.size(); i++) {
        path.resize(end);
        path += name(i);
        examineOne(i, AT_FDCWD, path.c_str(), asking);
    }
}

void DirectoryListing::examineOne(size_t position, int directory, const char* path, Asking::Thread* asking) {
    _statuses[position] = _keepsEvidence ? statusOf(directory, path, AT_SYMLINK_NOFOLLOW, _evidence[position])
                                         : statusOf(directory, path);
    if (asking != nullptr) asking->itemExamined();
}

DirectoryListing::Status DirectoryListing::statusOf(int directory, const char* path) {
    struct stat status;
    if (fstatat(directory, path, &status, AT_SYMLINK_NOFOLLOW) != 0) return {.isUnknown = !isGone(errno)};
    return {status.st_size, status.st_mtim.tv_sec, status.st_atim.tv_sec, kindOf(status.st_mode), false};
}

DirectoryListing::Status DirectoryListing::statusOf(int directory, const char* path, int flags,
                                                    EvidenceRecord& evidence) {
    const auto nanoseconds = [](const statx_timestamp& time) {
        return time.tv_sec * 1'000'000'000 + time.tv_nsec;
    };
    struct statx status;
    if (statx(directory, path, flags, STATX_BASIC_STATS | STATX_BTIME, &status) != 0)
        return {.isUnknown = !isGone(errno)};
    evidence.device = static_cast<uint32_t>(makedev(status.stx_dev_major, status.stx_dev_minor));
    evidence.isDirectory = S_ISDIR(status.stx_mode);
    evidence.inode = status.stx_ino;
    evidence.modified = nanoseconds(status.stx_mtime);
    evidence.changed = nanoseconds(status.stx_ctime);
    evidence.born = (status.stx_mask & STATX_BTIME) != 0 ? nanoseconds(status.stx_btime) : 0;
    return {static_cast<int64_t>(status.stx_size), status.stx_mtime.tv_sec, status.stx_atime.tv_sec,
            kindOf(status.stx_mode), false};
}

void DirectoryListing::clear() {
    _names.clear();
    _statuses.clear();
    _evidence.clear();
    _bytes.clear();
}

} // namespace snapshot
