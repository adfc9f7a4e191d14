#include "apps/dirsnapshot/DigestJournal.h"

#include "apps/dirsnapshot/output.h"
#include "apps/dirsnapshot/trees.h"

#include <sys/file.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <unistd.h>

namespace dirsnapshot_tool {

namespace {

constexpr std::string_view kHeader = "dsdigests1"; // the first record
constexpr int64_t kSecond = 1'000'000'000;
constexpr int64_t kTooRecent = 2 * kSecond;

// Takes a number, and the blank behind it, from the front of the text.
template <typename Number>
bool takeNumber(std::string_view& text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end == text.data() + text.size() || *end != ' ') return false;
    text.remove_prefix(static_cast<size_t>(end - text.data()) + 1);
    return true;
}

bool writeAll(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t wrote = write(file, bytes.data(), bytes.size());
        if (wrote < 0 && errno == EINTR) continue;
        if (wrote <= 0) return false;
        bytes.remove_prefix(static_cast<size_t>(wrote));
    }
    return true;
}

} // namespace

FileState::FileState(const struct stat& status)
    : device(status.st_dev), inode(status.st_ino), size(status.st_size),
      modified(status.st_mtim.tv_sec * kSecond + status.st_mtim.tv_nsec),
      changed(status.st_ctim.tv_sec * kSecond + status.st_ctim.tv_nsec) {}

DigestJournal::~DigestJournal() {
    if (_file >= 0) close(_file);
}

bool DigestJournal::open(const std::string& path) {
    _path = path;
    _file = ::open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, 0666);
    struct stat status;
    if (_file < 0 || fstat(_file, &status) != 0) {
        complain(path, strerror(errno));
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        complain(path, "not a regular file");
        return false;
    }
    if (flock(_file, LOCK_EX | LOCK_NB) != 0) {
        complain(path, "another run uses it");
        return false;
    }
    return read(path);
}

// What a run left unfinished at the end goes.
bool DigestJournal::read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string record;
    off_t whole = 0;
    while (std::getline(file, record, '\0') && !file.eof()) {
        if (whole == 0 ? record != kHeader : !take(record)) {
            complain(path, "not a file of digests, or damaged");
            return false;
        }
        whole += static_cast<off_t>(record.size()) + 1;
    }
    if (whole == 0 && !kHeader.starts_with(record)) {
        complain(path, "not a file of digests");
        return false;
    }
    if (ftruncate(_file, whole) == 0 && (whole > 0 || writeAll(_file, std::string(kHeader) + '\0')))
        return true;
    complain(path, strerror(errno));
    return false;
}

bool DigestJournal::take(std::string_view record) {
    Digest digest;
    if (record.size() <= 2 * digest.size() || record[2 * digest.size()] != ' ') return false;
    if (!digestOfHex(record.substr(0, 2 * digest.size()), digest.data())) return false;
    record.remove_prefix(2 * digest.size() + 1);
    FileState state;
    int64_t begun = 0;
    if (!takeNumber(record, state.device) || !takeNumber(record, state.inode) ||
        !takeNumber(record, state.size) || !takeNumber(record, state.modified) ||
        !takeNumber(record, state.changed) || !takeNumber(record, begun))
        return false;
    remember(state, begun, record, digest, false);
    return true;
}

std::string DigestJournal::keyOf(std::string_view path, int64_t size, int64_t seconds) {
    return std::to_string(size) + ' ' + std::to_string(seconds) + ' ' + std::string(path);
}

void DigestJournal::remember(const FileState& state, int64_t begun, std::string_view path,
                             const Digest& digest, bool isOfThisRun) {
    if (state.modified < begun - kTooRecent && state.changed < begun - kTooRecent)
        _byState.insert_or_assign(state, digest);
    const int64_t seconds = state.modified / kSecond - (state.modified % kSecond < 0 ? 1 : 0);
    const auto [at, isNew] =
        _byPath.try_emplace(keyOf(path, state.size, seconds), AtPath{digest, isOfThisRun, false});
    if (!isNew && !isOfThisRun && at->second.digest != digest) at->second.isAmbiguous = true;
}

bool DigestJournal::find(const FileState& state, Digest& digest) const {
    const std::lock_guard lock(_mutex);
    const auto found = _byState.find(state);
    if (found == _byState.end()) return false;
    digest = found->second;
    return true;
}

bool DigestJournal::find(const std::string& path, int64_t size, int64_t modifiedTime, Digest& digest) const {
    const std::lock_guard lock(_mutex);
    const auto found = _byPath.find(keyOf(path, size, modifiedTime));
    if (found == _byPath.end() || found->second.isAmbiguous) return false;
    digest = found->second.digest;
    return true;
}

bool DigestJournal::add(const FileState& state, int64_t begun, const std::string& path,
                        const Digest& digest) {
    std::string record = hexDigest(digest.data());
    for (uint64_t number : {state.device, state.inode})
        record += ' ' + std::to_string(number);
    for (int64_t number : {state.size, state.modified, state.changed, begun})
        record += ' ' + std::to_string(number);
    record += ' ' + path + '\0';
    const std::lock_guard lock(_mutex);
    remember(state, begun, path, digest, true);
    if (_failed || writeAll(_file, record)) return !_failed;
    complain(_path, strerror(errno));
    _failed = true;
    return false;
}

} // namespace dirsnapshot_tool
