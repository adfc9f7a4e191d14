#include "snapshot/stores/ReplacedFile.h"

#include <sys/stat.h>
#include <sys/xattr.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <random>
#include <set>
#include <unistd.h>
#include <vector>

namespace snapshot {

namespace {

// A new file under a random name in the folder of a path. Created by open() rather than mkstemp(), so that
// the process's mask and the folder's default access list decide the permissions. The name stays short: a
// target's name may be as long as names can be.
int createInFolderOf(const std::string& path, std::string& name) {
    size_t slash = path.rfind('/');
    std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    std::random_device random;
    int descriptor = -1;
    do {
        char suffix[20];
        snprintf(suffix, sizeof suffix, "%08x%08x", random(), random());
        name = folder + ".dssnapshot-" + suffix;
        descriptor = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    } while (descriptor < 0 && errno == EEXIST);
    return descriptor;
}

// Calls work(data, size), which says what a call of the system needs, with more room as long as it asks for
// it.
template <typename Work>
bool withRoom(std::vector<char>& room, const Work& work) {
    while (true) {
        ssize_t size = work(room.data(), room.size());
        if (size >= 0) {
            room.resize(static_cast<size_t>(size));
            return true;
        }
        if (errno != ERANGE) return false;
        room.resize(room.size() * 2 + 1024);
    }
}

// The names of a file's extended attributes, access lists among them; none where the file system has none.
bool namesOfAttributes(int file, std::set<std::string>& names) {
    std::vector<char> room(1024);
    if (!withRoom(room, [&](char* to, size_t size) { return flistxattr(file, to, size); }))
        return errno == ENOTSUP;
    for (auto at = room.begin(); at != room.end();) {
        auto end = std::find(at, room.end(), '\0');
        names.emplace(at, end);
        at = end == room.end() ? end : end + 1;
    }
    return true;
}

bool valueOf(int file, const std::string& name, std::vector<char>& value) {
    value.resize(1024);
    return withRoom(value, [&](char* to, size_t size) { return fgetxattr(file, name.c_str(), to, size); });
}

// Gives a new file the extended attributes of an old one and takes those away that only the new one has, such
// as an access list that it got from its folder.
bool takeExtendedAttributes(int to, int from) {
    std::set<std::string> theirs;
    std::set<std::string> own;
    if (!namesOfAttributes(from, theirs) || !namesOfAttributes(to, own)) return false;
    std::vector<char> value;
    std::vector<char> present;
    for (const std::string& name : theirs) {
        if (!valueOf(from, name, value)) return false;
        bool isSame = own.erase(name) > 0 && valueOf(to, name, present) && present == value;
        if (!isSame && fsetxattr(to, name.c_str(), value.data(), value.size(), 0) != 0) return false;
    }
    return std::all_of(own.begin(), own.end(),
                       [&](const std::string& name) { return fremovexattr(to, name.c_str()) == 0; });
}

// Gives a new file the owner, group, permissions and extended attributes of an old one. Changing the owner
// may clear bits of the mode, so that comes last.
bool takeAttributes(int descriptor, const char* oldFile, const struct stat& old) {
    struct stat now {};
    if (fstat(descriptor, &now) != 0) return false;
    bool sameOwner = now.st_uid == old.st_uid && now.st_gid == old.st_gid;
    if (!sameOwner && fchown(descriptor, old.st_uid, old.st_gid) != 0) return false;
    int from = open(oldFile, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW);
    if (from < 0) return false;
    bool taken = takeExtendedAttributes(descriptor, from);
    close(from);
    return taken && fchmod(descriptor, old.st_mode & 07777) == 0;
}

// Writes all of a file over the content of another. 0 or EOF.
int copyOver(const char* target, const char* source) {
    FILE* from = fopen(source, "re");
    FILE* to = from != nullptr ? fopen(target, "we") : nullptr;
    bool failed = to == nullptr;
    char piece[1 << 14];
    while (!failed) {
        size_t size = fread(piece, 1, sizeof piece, from);
        if (size == 0) break;
        failed = fwrite(piece, 1, size, to) != size;
    }
    if (from != nullptr) failed = ferror(from) != 0 || failed;
    if (to != nullptr) failed = fclose(to) != 0 || failed;
    if (from != nullptr) fclose(from);
    return failed ? EOF : 0;
}

} // namespace

ReplacedFile::ReplacedFile(const char* target) : _target(target) {
    openBeside();
    if (_file == nullptr && !_full) openStraight();
}

ReplacedFile::~ReplacedFile() {
    if (_file == nullptr) return;
    fclose(_file);
    if (!_beside.empty()) unlink(_beside.c_str());
}

void ReplacedFile::openBeside() {
    struct stat old {};
    bool exists = lstat(_target.c_str(), &old) == 0;
    if (!exists && errno != ENOENT) return;
    if (_target.empty() || _target.back() == '/') return;
    if (exists) {
        if (!S_ISREG(old.st_mode) || old.st_nlink > 1) return;
        // A file that could not be opened for writing is not to be replaced either.
        if (faccessat(AT_FDCWD, _target.c_str(), W_OK, AT_EACCESS) != 0) return;
    }
    int descriptor = createInFolderOf(_target, _beside);
    if (descriptor < 0) {
        _full = exists && (errno == ENOSPC || errno == EDQUOT);
    } else {
        if (!exists || takeAttributes(descriptor, _target.c_str(), old)) _file = fdopen(descriptor, "w");
        if (_file == nullptr) {
            ::close(descriptor);
            unlink(_beside.c_str());
        }
    }
    if (_file == nullptr) _beside.clear();
}

void ReplacedFile::openStraight() { _file = fopen(_target.c_str(), "we"); }

int ReplacedFile::close() {
    bool failed = ferror(_file) != 0;
    failed = fclose(_file) != 0 || failed;
    _file = nullptr;
    if (_beside.empty()) return failed ? EOF : 0;
    if (!failed && rename(_beside.c_str(), _target.c_str()) == 0) return 0;
    // A mount point, such as a single file that a container is given, cannot be renamed onto.
    bool isMountPoint = !failed && (errno == EBUSY || errno == EXDEV);
    int result = isMountPoint ? copyOver(_target.c_str(), _beside.c_str()) : EOF;
    int error = errno;
    unlink(_beside.c_str());
    errno = error;
    return result;
}

} // namespace snapshot
