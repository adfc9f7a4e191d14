#include "sandbox/placement.h"

#include "sandbox/paths.h"
#include "sync_daemon/Descriptor.h"
#include "sync_daemon/renaming.h"
#include "sync_daemon/writing.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>
#include <utility>

namespace sandbox {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view stagingName = ".tsyncquenz-sandbox-incoming-";

} // namespace

bool renameWithoutReplacing(const fs::path& from, const fs::path& to) {
    errno = sync_daemon::renameWithoutReplacing(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str());
    return errno == 0;
}

bool isStaged(std::string_view path) {
    for (std::size_t at = 0; (at = path.find(stagingName, at)) != std::string_view::npos; ++at)
        if (at == 0 || path[at - 1] == '/') return true;
    return false;
}

StagingFolder::StagingFolder(const fs::path& beside, fs::path noteFile, platform::ProcessLog& processLog)
    : note(std::move(noteFile)), log(processLog) {
    for (int number = 1; path.empty(); ++number) {
        const fs::path wanted =
            beside / (std::string(stagingName) + std::to_string(::getpid()) + "-" + std::to_string(number));
        // The note first: a folder without one would stay for ever.
        if (sync_daemon::writeToDisk(note, wanted.string()) && ::mkdir(wanted.c_str(), 0700) == 0) {
            path = wanted;
        } else if (errno != EEXIST) {
            log.error("Cannot receive anything in ", beside.string(), ": ", std::strerror(errno));
            ::unlink(note.c_str());
            return;
        }
    }
}

StagingFolder::~StagingFolder() {
    if (!path.empty()) removeLeft(note, log);
}

fs::path StagingFolder::place(const fs::path& wanted) const {
    const sync_daemon::Descriptor file(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!file || ::syncfs(file.get()) != 0) {
        log.error("Cannot store ", wanted.string(), ": ", std::strerror(errno));
        return {};
    }
    fs::path candidate = wanted;
    for (int number = 2; !renameWithoutReplacing(item(), candidate); ++number) {
        if (errno != EEXIST) {
            log.error("Cannot store ", candidate.string(), ": ", std::strerror(errno));
            return {};
        }
        candidate = wanted.parent_path() / numberedName(wanted.filename(), number);
    }
    return candidate;
}

void StagingFolder::removeLeft(const fs::path& noteFile, platform::ProcessLog& log) {
    std::ifstream stream(noteFile, std::ios::binary);
    if (!stream) return;
    const fs::path left = std::string{std::istreambuf_iterator<char>(stream), {}};
    std::error_code error;
    // Only ever a real folder of that name: a note is a file that somebody may have written into.
    if (left.is_absolute() && left.filename().string().starts_with(stagingName) &&
        fs::is_directory(fs::symlink_status(left, error)))
        fs::remove_all(left, error);
    if (error && error != std::errc::no_such_file_or_directory && error != std::errc::not_a_directory)
        log.error("Cannot remove what was half received, ", left.string(), ": ", error.message());
    else
        fs::remove(noteFile, error);
}

} // namespace sandbox
