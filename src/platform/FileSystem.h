// What the extension asks the disk: never more than names, kinds and existence, and never in a way in which a
// dead mount stops it for good.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

enum class Existence {
    missing,
    exists,  // links resolved: a link that leads nowhere does not exist
    unknown, // the disk did not answer in time; it may answer later
};

// Which directory it is, however it was reached.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    // The linter mistakes the comparison with 0 that the compiler writes.
    // NOLINTNEXTLINE(modernize-use-nullptr)
    friend auto operator<=>(const FileIdentity&, const FileIdentity&) = default;
};

struct FileKind {
    bool isDirectory = false; // links resolved
    bool isLink = false;      // the item itself is a symbolic link
    FileIdentity identity;    // of what the path leads to
    // Of a link: the path of that without links; of a bind mount: its path in a mount that shows more of the
    // file system. Empty when it is neither, or it cannot be told.
    std::string leadsTo;

    bool isDirectoryItself() const { return isDirectory && !isLink; }
};

class FileSystem {
  public:
    virtual ~FileSystem() = default;

    // One answer for each path, in order. The disk is asked each time, unless it was too slow the last time.
    virtual std::vector<Existence> existence(std::span<const std::string_view> paths) = 0;

    // The same for a caller that does not wait. `answered` is called once, soon, on any thread, maybe before
    // this returns; it hands on to a queue.
    using ExistenceHandler = std::function<void(std::vector<Existence> answers)>;
    virtual void askExistence(std::vector<std::string> paths, ExistenceHandler answered) = 0;

    // None when nothing exists there (or when it is not known in time).
    virtual std::optional<FileKind> kind(std::string_view path) = 0;

    // The names in a directory without "." and "..", in the directory's own order; empty when it cannot
    // be read. May take some seconds.
    virtual std::vector<std::string> entryNames(std::string_view path) = 0;
};

// Whether the item itself is a directory: a link to one is not, and neither is an item that is not there.
// None when the disk does not answer in time: a caller that has to decide assumes what does no harm should it
// be one.
std::optional<bool> isDirectoryItself(FileSystem& fileSystem, std::string_view path);

} // namespace platform
