#include "sandbox/FileTransfer.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <vector>

namespace sandbox {
namespace {

class Descriptor {
  public:
    explicit Descriptor(int descriptor) : number(descriptor) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (number >= 0) ::close(number);
    }
    int get() const { return number; }
    explicit operator bool() const { return number >= 0; }

  private:
    int number;
};

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

bool sameContent(const struct stat& before, const struct stat& after) {
    return before.st_dev == after.st_dev && before.st_ino == after.st_ino &&
           before.st_size == after.st_size && before.st_mtim.tv_sec == after.st_mtim.tv_sec &&
           before.st_mtim.tv_nsec == after.st_mtim.tv_nsec;
}

// Holds a file against writers: who opens it to write waits until this goes. A file that somebody has open to
// write already cannot be held. Where the file system or the file's owner allows no lease, nothing is held.
class ReadLease { // fcntl(2), F_SETLEASE
  public:
    explicit ReadLease(int heldFile) : file(heldFile) {
        ::fcntl(file, F_SETSIG, SIGURG); // who waits is told by a signal: one that is ignored
        isWrittenTo = ::fcntl(file, F_SETLEASE, F_RDLCK) != 0 && errno == EAGAIN;
    }
    ReadLease(const ReadLease&) = delete;
    ReadLease& operator=(const ReadLease&) = delete;
    ~ReadLease() { ::fcntl(file, F_SETLEASE, F_UNLCK); }

    bool isWrittenTo = false; // by somebody else

  private:
    int file;
};

class Transfer {
  public:
    Transfer(const FileTransfer& fileTransfer, const TransferControl& transferControl,
             platform::ProcessLog& processLog)
        : transfer(fileTransfer), control(transferControl), log(processLog) {}

    TransferResult perform() const {
        // Without waiting for the other end of a pipe, whatever took the file's place.
        const Descriptor source(::open(transfer.source.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK |
                                                                    (transfer.followsLink ? 0 : O_NOFOLLOW)));
        struct stat before {};
        if (!source || fstat(source.get(), &before) != 0) return failed("read");
        if (!S_ISREG(before.st_mode)) return TransferResult::stopped;
        if (transfer.removesSource && ReadLease(source.get()).isWrittenTo) {
            log.error("Somebody is writing to it, so it is not moved: ", transfer.source);
            return TransferResult::stopped;
        }

        const Descriptor target(
            ::open(transfer.incoming.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600));
        if (!target) return failed("receive");
        const TransferResult moved =
            transferBytes(source.get(), target.get(), static_cast<std::uint64_t>(before.st_size));
        if (moved != TransferResult::stored) return moved;

        const std::array<timespec, 2> times{before.st_atim, before.st_mtim};
        if (fchmod(target.get(), before.st_mode & 0777) != 0 || futimens(target.get(), times.data()) != 0)
            return failed("keep the attributes of");
        if (transfer.removesSource && fsync(target.get()) != 0) return failed("store");
        if (renameat2(AT_FDCWD, transfer.incoming.c_str(), AT_FDCWD, transfer.destination.c_str(),
                      transfer.replaces ? 0 : RENAME_NOREPLACE) != 0)
            return errno == EEXIST ? TransferResult::taken : failed("store");
        if (transfer.removesSource) removeSource(source.get(), before);
        return TransferResult::stored;
    }

  private:
    TransferResult failed(const char* what) const {
        log.error("Cannot ", what, " ", transfer.source, ": ", std::strerror(errno));
        return TransferResult::failed;
    }

    TransferResult transferBytes(int source, int target, std::uint64_t size) const {
        std::vector<char> buffer(control.chunk);
        while (control.goesOn(size)) {
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
    void removeSource(int source, const struct stat& before) const {
        struct stat after {};
        const ReadLease lease(source);
        if (lease.isWrittenTo || ::lstat(transfer.source.c_str(), &after) != 0 || !sameContent(before, after))
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
