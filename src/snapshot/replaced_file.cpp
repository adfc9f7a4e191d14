#include "snapshot/replaced_file.h"

#include <sys/stat.h>

#include <cerrno>
#include <fcntl.h>
#include <random>
#include <unistd.h>

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

// Gives a new file the owner, group and permissions of an old one. Changing the owner may clear bits of the
// mode, so that comes last.
bool takeAttributes(int descriptor, const struct stat& old) {
    struct stat now {};
    if (fstat(descriptor, &now) != 0) return false;
    bool sameOwner = now.st_uid == old.st_uid && now.st_gid == old.st_gid;
    if (!sameOwner && fchown(descriptor, old.st_uid, old.st_gid) != 0) return false;
    return fchmod(descriptor, old.st_mode & 07777) == 0;
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
        if (!exists || takeAttributes(descriptor, old)) _file = fdopen(descriptor, "w");
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
    unlink(_beside.c_str());
    return EOF;
}

} // namespace snapshot
