// How a file that came down gets its place.
#include "service/LocalSide.h"
#include "service/local_files.h"
#include "service/names.h"
#include "service/pair_parts.h"
#include "sync_daemon/renaming.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace service {
namespace {

using sync_daemon::renameWithoutReplacing;

// While a file is out of its place for a moment: where it lies, NUL, its place.
constexpr const char* asideNote = ".tsyncquenz/aside";

int exchange(int folder, const std::string& one, const std::string& other) {
    return ::renameat2(folder, one.c_str(), folder, other.c_str(), RENAME_EXCHANGE) == 0 ? 0 : errno;
}

// Whatever its name was: a change of that is one of the inode, too.
bool isAtName(int folder, const std::string& name, const LocalRecord& planned, bool keepsInode = true) {
    struct statx status {};
    if (statusOf(folder, name.c_str(), status) != 0 || !S_ISREG(status.stx_mode)) return false;
    const LocalRecord now = recordOf(status);
    return now.size == planned.size && now.modified == planned.modified &&
           (now.inode == planned.inode || !keepsInode);
}

} // namespace

Outcome<LocalSide::Placed> LocalSide::place(const std::filesystem::path& incoming, const std::string& path,
                                            const std::optional<LocalRecord>& replaced) const {
    std::string name;
    const File folder(openFolderOf(path, name));
    if (!folder) return failureOf(errno, path);
    const std::string hidden = incoming.filename().string();
    const File fresh = openBelow(*folder, hidden.c_str(), O_RDONLY);
    if (!fresh) return failureOf(errno, path);
    if (replaced) {
        const File old = openBelow(*folder, name.c_str(), O_RDONLY | O_NONBLOCK);
        if (!old || !isAtName(*folder, name, *replaced))
            return Failure{Trouble::missing, path + " has changed"};
        if (!service::isAtRest(*old).value_or(true))
            return Failure{Trouble::refused, path + " is being written"};
        takeAlong(*old, *fresh);
    }
    if (::fsync(*fresh) != 0) return failureOf(errno, path);
    struct statx status {};
    if (const int error = statusOf(*fresh, "", status)) return failureOf(error, path);
    Placed placed{recordOf(status), {}};
    if (!replaced) {
        if (const int error = renameWithoutReplacing(*folder, hidden.c_str(), *folder, name.c_str()))
            return failureOf(error, path);
    } else if (const auto done = replace(*folder, hidden, path, *replaced); !done) {
        return done.failure();
    }
    // The move is a change of the inode. What has another size or time was written to since it has its name,
    // and the record stays that of what came down, so that the next look finds an edit.
    if (const int error = statusOf(*fresh, "", status)) return failureOf(error, path);
    const LocalRecord now = recordOf(status);
    if (now.size == placed.record.size && now.modified == placed.record.modified) placed.record = now;
    ::fsync(*folder);
    if (replaced) {
        // Where it cannot be kept (another file system below the folder) it stays beside, under its private
        // name.
        placed.kept = joined(parentOf(path), hidden);
        if (const auto kept = keep(placed.kept, name)) placed.kept = *kept;
    }
    return placed;
}

// The one of that name in the folder, which is the path's, comes to the path, and the planned one to the
// name.
Outcome<Done> LocalSide::replace(int folder, const std::string& hidden, const std::string& path,
                                 const LocalRecord& planned) const {
    const Failure changed{Trouble::missing, path + " has changed"};
    const std::string name = lastOf(path);
    if (const int error = exchange(folder, hidden, name)) {
        if (error != EINVAL && error != ENOSYS) return failureOf(error, path);
        return replaceInSteps(folder, hidden, path, planned);
    }
    if (isAtName(folder, hidden, planned)) return Done{};
    exchange(folder, hidden, name); // back
    return changed;
}

// Where a file system cannot exchange: the old one is moved out of the way first.
Outcome<Done> LocalSide::replaceInSteps(int folder, const std::string& hidden, const std::string& path,
                                        const LocalRecord& planned) const {
    const std::string name = lastOf(path);
    const std::string aside = hidden + "-old";
    const std::string text = joined(parentOf(path), aside) + '\0' + path;
    {
        const std::string prefix(privatePrefix);
        if (::mkdirat(rootFile, prefix.c_str(), 0700) != 0 && errno != EEXIST) return failureOf(errno, path);
        const File note = openBelow(rootFile, asideNote, O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (!note || ::write(*note, text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
            ::fsync(*note) != 0)
            return failureOf(errno, path);
    }
    int error = renameWithoutReplacing(folder, name.c_str(), folder, aside.c_str());
    if (error == 0) {
        error = isAtName(folder, aside, planned, false) // FUSE may number anew what has another name
                    ? renameWithoutReplacing(folder, hidden.c_str(), folder, name.c_str())
                    : ESTALE;
        const std::string& place = error == 0 ? hidden : name; // of the old one
        if (renameWithoutReplacing(folder, aside.c_str(), folder, place.c_str()) != 0)
            (void)keep(joined(parentOf(path), aside), name); // somebody has taken its place meanwhile
    }
    ::unlinkat(rootFile, asideNote, 0);
    if (error == ESTALE || error == EEXIST) return Failure{Trouble::missing, path + " has changed"};
    return error == 0 ? Outcome<Done>(Done{}) : failureOf(error, path);
}

// A kill came in between: what is not at its place would be taken for deleted.
void LocalSide::putBackAside() const {
    const File note = openBelow(rootFile, asideNote, O_RDONLY);
    if (!note) return;
    std::string text(std::size_t{2} * PATH_MAX, '\0');
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(::read(*note, text.data(), text.size()), 0)));
    if (const std::size_t end = text.find('\0'); end != std::string::npos) {
        const std::string aside = text.substr(0, end);
        const std::string path = text.substr(end + 1);
        if (!move(aside, path)) (void)keep(aside, lastOf(path)); // the new one has its place already
    }
    ::unlinkat(rootFile, asideNote, 0);
}

} // namespace service
