// A pair's folder on this machine: what is in it, and the few changes that a sync makes there.
//
// Paths are relative to the folder, components joined by "/", bytes. No operation follows a link, at the end
// of a path or above it (openat2(2), RESOLVE_BENEATH and RESOLVE_NO_SYMLINKS), and none replaces anything but
// what it was told is there: whoever changes an item at the same time keeps what they wrote.
//
// A folder is known by a mark of its own in its private folder, not by its place: another disk may be mounted
// there, and every file system's root has the same inode.
//
// Threads: any; what it knows lies on the disk.
#pragma once

#include "platform/Clock.h"
#include "service/Outcome.h"
#include "service/plan.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

struct evp_md_st; // OpenSSL's EVP_MD

namespace service {

// What this machine tells about an item. Two equal ones stand for the same content, once the file has rested.
struct LocalRecord {
    std::uint64_t size = 0;
    std::int64_t modified = 0; // nanoseconds since 1970
    std::int64_t changed = 0;  // of the inode
    std::uint64_t inode = 0;
    std::int64_t born = 0; // 0: the file system does not tell
    friend bool operator==(const LocalRecord&, const LocalRecord&) = default;
};

struct LocalItem {
    std::string path;
    Shape shape = Shape::file; // unknown: a link, a device, or what cannot be looked at
    LocalRecord record;
    std::string reason; // of an unknown one, for a person
};

class LocalSide {
  public:
    // Puts back what a kill left out of its place. Raises std::filesystem::filesystem_error when the folder
    // cannot be opened. The clock outlives the object.
    explicit LocalSide(std::filesystem::path folder, const platform::Clock& clock = platform::machineClock());
    ~LocalSide();
    LocalSide(const LocalSide&) = delete;
    LocalSide& operator=(const LocalSide&) = delete;

    const std::filesystem::path& folder() const { return root; }

    // The folder's mark; none when it has none. `setMark` makes one.
    std::optional<std::string> mark() const;
    Outcome<std::string> setMark();

    // Whether a name in a folder, by its path, is left out with all below it.
    using IsLeftOut = std::function<bool(const std::string& path)>;
    // Everything at and below a folder ("" is the whole pair's), a folder before what is in it, in no further
    // order. Private names are left out. A failure is one of the folder itself; what lies deeper and cannot
    // be read is unknown.
    Outcome<std::vector<LocalItem>> look(const std::string& below, const IsLeftOut& isLeftOut,
                                         const std::stop_token& stop) const;
    // What is directly in a folder; private names are left out. A failure is one of reading the folder, to
    // its end.
    Outcome<std::vector<LocalItem>> list(const std::string& folder, const IsLeftOut& isLeftOut) const;
    // One item; none when it is not there. An error is unknown.
    std::optional<LocalItem> lookAt(const std::string& path) const;

    // Whether nobody has the file open for writing; false also where the system cannot tell.
    bool isAtRest(const std::string& path) const;
    // The content's digest. Fails when the file is not as the record says, before or after.
    Outcome<Digest> digest(const std::string& path, const LocalRecord& expected) const;
    // The same by another algorithm, "md5" or any other name that OpenSSL knows; hexadecimal, in small
    // letters.
    Outcome<std::string> digest(const std::string& path, const LocalRecord& expected,
                                const std::string& algorithm) const;
    static bool knowsDigest(const std::string& algorithm);

    // Where a file that comes down is written first: in the folder of `path`, with a private name.
    Outcome<std::filesystem::path> incoming(const std::string& path) const;
    struct Placed {
        LocalRecord record; // of what came down, also where somebody has written to it since it has its name
        std::string kept;   // where what it replaced lies; "" for nothing
    };
    // Puts such a file in its place, on the disk for certain when this returns. Without `replaced` the name
    // is free, or this fails; else the file of that record passes its mode, owner and attributes on to the
    // new one and goes into the private folder of kept ones. A file that somebody writes to stays: then, and
    // when the file is not that one, this fails and has changed nothing.
    Outcome<Placed> place(const std::filesystem::path& incoming, const std::string& path,
                          const std::optional<LocalRecord>& replaced) const;

    // Below the private folder, for this person alone.
    Outcome<Done> makePrivateFolder(const std::string& path) const;
    // All that was written is on the disk when this returns.
    Outcome<Done> flush() const;
    // Fails when anything is there. The folder above is there.
    Outcome<Done> makeFolder(const std::string& path) const;
    // Renames; fails when anything is at the new name.
    Outcome<Done> move(const std::string& path, const std::string& to) const;
    // A free place among the kept ones for an item of that name; the folder is there then. `keptAt` is the
    // place of the name that it gets.
    Outcome<std::string> newKeptPlace(const std::string& name) const;
    static std::string keptAt(const std::string& name);
    // Into the private folder of kept ones, from where a person can take it, as an item of that name; its
    // path there.
    Outcome<std::string> keep(const std::string& path, const std::string& name) const;
    // Whether somebody has the file open for writing, as far as the file system tells.
    bool isBeingWritten(const std::string& path) const;
    // Removes what is kept since before that time, by its name and by its inode.
    void removeKept(std::chrono::sys_seconds before) const;
    // Removes the private files of anybody's downloads, in all folders, that nobody has touched since.
    void removeLeftovers(std::chrono::sys_seconds before, const std::stop_token& stop) const;

  private:
    Outcome<std::vector<unsigned char>> digestBy(const evp_md_st* algorithm, const std::string& path,
                                                 const LocalRecord& expected) const;
    void removeIn(const std::string& folder,
                  const std::function<bool(const char* name, std::int64_t changed)>& isOld) const;
    int openFolderOf(const std::string& path, std::string& name) const;
    Outcome<Done> replace(int folder, const std::string& hidden, const std::string& path,
                          const LocalRecord& planned) const;
    Outcome<Done> replaceInSteps(int folder, const std::string& hidden, const std::string& path,
                                 const LocalRecord& planned) const;
    void putBackAside() const;

    std::filesystem::path root;
    int rootFile = -1;
    const platform::Clock& clock; // dates what is kept
};

} // namespace service
