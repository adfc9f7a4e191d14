#include "sandbox/FileTransfer.h"

#include "sandbox/placement.h"
#include "sync_daemon/Descriptor.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <unistd.h>
#include <vector>

namespace sandbox {
namespace {

bool writeAll(int target, const char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t written = ::write(target, bytes, count);
        if (written < 0 && errno != EINTR) return false;
        if (written < 0) continue;
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
    return true;
}

bool isSameTime(const timespec& one, const timespec& other) {
    return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

// The time of the inode's last change reveals a change that a program hides by setting the file's own time
// back.
bool sameContent(const struct stat& before, const struct stat& after) {
    return before.st_dev == after.st_dev && before.st_ino == after.st_ino &&
           before.st_size == after.st_size && isSameTime(before.st_mtim, after.st_mtim) &&
           isSameTime(before.st_ctim, after.st_ctim);
}

// Holds a file against writers: whoever opens it to write waits until this goes. A file that somebody has
// open to write already cannot be held. Where the file system or the file's owner allows no lease, nothing is
// held.
class ReadLease { // fcntl(2), F_SETLEASE
  public:
    explicit ReadLease(int heldFile) : file(heldFile) {
        ::fcntl(file, F_SETSIG,
                SIGURG); // a waiting writer is announced by a signal: take one that is ignored
        isHeld = ::fcntl(file, F_SETLEASE, F_RDLCK) == 0;
        isRefused = !isHeld && errno == EAGAIN;
    }
    ReadLease(const ReadLease&) = delete;
    ReadLease& operator=(const ReadLease&) = delete;
    ~ReadLease() {
        if (isHeld) ::fcntl(file, F_SETLEASE, F_UNLCK);
    }

    // Whether somebody else writes to the file, or waits to.
    bool isWrittenTo() const { return isRefused || (isHeld && ::fcntl(file, F_GETLEASE) != F_RDLCK); }

  private:
    int file;
    bool isHeld = false;
    bool isRefused = false;
};

class Transfer {
  public:
    Transfer(const FileTransfer& fileTransfer, const TransferControl& transferControl,
             platform::ProcessLog& processLog)
        : transfer(fileTransfer), control(transferControl), log(processLog) {}

    TransferResult perform() const {
        // Without waiting for the other end of a pipe, whatever took the file's place.
        const sync_daemon::Descriptor source(
            ::open(transfer.source.c_str(),
                   O_RDONLY | O_CLOEXEC | O_NONBLOCK | (transfer.followsLink ? 0 : O_NOFOLLOW)));
        struct stat before {};
        if (!source || fstat(source.get(), &before) != 0) return failed("read");
        if (!S_ISREG(before.st_mode)) return TransferResult::stopped;
        // Held until the end: a program that saves the file meanwhile finds it where it was.
        std::optional<ReadLease> lease;
        if (transfer.removesSource) lease.emplace(source.get());

        const sync_daemon::Descriptor target(
            ::open(transfer.incoming.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600));
        if (!target) return failed("receive");
        const TransferResult moved =
            transferBytes(source.get(), target.get(), static_cast<std::uint64_t>(before.st_size), lease);
        if (moved != TransferResult::stored) return moved;

        const std::array<timespec, 2> times{before.st_atim, before.st_mtim};
        if (fchmod(target.get(), before.st_mode & 0777) != 0 || futimens(target.get(), times.data()) != 0)
            return failed("keep the attributes of");
        if (transfer.removesSource && fsync(target.get()) != 0) return failed("store");
        const bool isPlaced = transfer.replaces
                                  ? ::rename(transfer.incoming.c_str(), transfer.destination.c_str()) == 0
                                  : renameWithoutReplacing(transfer.incoming, transfer.destination);
        if (!isPlaced) return !transfer.replaces && errno == EEXIST ? TransferResult::taken : failed("store");
        if (lease) removeSource(*lease, before);
        return TransferResult::stored;
    }

  private:
    TransferResult failed(const char* what) const {
        log.error("Cannot ", what, " ", transfer.source, ": ", std::strerror(errno));
        return TransferResult::failed;
    }

    TransferResult transferBytes(int source, int target, std::uint64_t size,
                                 const std::optional<ReadLease>& lease) const {
        std::vector<char> buffer(control.chunk);
        while (control.goesOn(size)) {
            if (lease && lease->isWrittenTo()) {
                log.error("Somebody is writing to it, so it is not moved: ", transfer.source);
                return TransferResult::stopped;
            }
            const ssize_t count = ::read(source, buffer.data(), buffer.size());
            if (count < 0 && errno == EINTR) continue;
            if (count == 0) return TransferResult::stored;
            if (count < 0 || !writeAll(target, buffer.data(), static_cast<std::size_t>(count)))
                return failed("copy");
            control.spent(static_cast<std::uint64_t>(count));
        }
        return TransferResult::stopped;
    }

    // What is at the path now: a program that saves by renaming has put another file there, of which there is
    // no copy yet.
    void removeSource(const ReadLease& lease, const struct stat& before) const {
        struct stat after {};
        if (lease.isWrittenTo() || ::lstat(transfer.source.c_str(), &after) != 0 ||
            !sameContent(before, after))
            log.error("Changed while it was moved, so it stays: ", transfer.source);
        else if (::unlink(transfer.source.c_str()) != 0)
            log.error("Cannot remove ", transfer.source, ": ", std::strerror(errno));
    }

    const FileTransfer& transfer;
    const TransferControl& control;
    platform::ProcessLog& log;
};

} // namespace

TransferResult transferFile(const FileTransfer& transfer, const TransferControl& control,
                            platform::ProcessLog& log) {
    const TransferResult result = Transfer(transfer, control, log).perform();
    if (result != TransferResult::stored) ::unlink(transfer.incoming.c_str());
    return result;
}

} // namespace sandbox
