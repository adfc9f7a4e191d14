// What one directory holds, read and examined in few system calls.
#pragma once

#include "snapshot/scan/Asking.h"
#include "snapshot/tree/Evidence.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace snapshot {

// The entries of one directory but "." and "..", in the byte order of their names. A listing is meant to be
// read into again and again: it keeps its memory.
class DirectoryListing {
  public:
    // What the file system says about an entry. The kind is a node's, or 0 for an entry that is not recorded:
    // of another kind, or gone.
    struct Status {
        int64_t size = 0;         // bytes
        int64_t modifiedTime = 0; // seconds since 1970
        int64_t accessedTime = 0; // seconds since 1970
        uint8_t type = 0;
        bool isUnknown = false; // it is there, for all that is known: the disk would not say what it is
    };

    // Reads the names from an open directory. False, and an empty listing, when that fails; one that is gone
    // meanwhile is merely empty. Here and below `asking`, if any, is told of answers.
    bool read(int directory, Asking::Thread* asking = nullptr);

    // Whether an error of the system says that what was a directory no longer is one.
    static bool isGone(int error);

    // In place of reading: a name that is known to be there. They keep the order in which they are added.
    void addKnown(std::string_view name);

    // From now on the evidence of each entry is noted as it is examined.
    void keepEvidence() { _keepsEvidence = true; }

    // Examines every entry relative to the open directory.
    void examine(int directory, Asking::Thread* asking = nullptr);

    // The same by the path of the directory, which is not open.
    void examineBelow(const std::string& directory, Asking::Thread* asking);

    // The same by several threads, each with entries of its own: first room for all, then those from a
    // position up to another.
    void prepareToExamine();
    void examine(int directory, size_t from, size_t to, Asking::Thread* asking);

    // Examines one path relative to an open directory (or AT_FDCWD), without following links.
    static Status statusOf(int directory, const char* path);

    // The same with its evidence, which is left alone where there is nothing to record; `flags` are statx's.
    static Status statusOf(int directory, const char* path, int flags, EvidenceRecord& evidence);

    void clear();

    size_t count() const { return _names.size(); }
    std::string_view name(size_t position) const {
        const Name& name = _names[position];
        return {_bytes.data() + name.start, name.length};
    }
    const Status& status(size_t position) const { return _statuses[position]; }

    // What was noted of an entry that is recorded: all but what a record says of the tree.
    const EvidenceRecord& evidence(size_t position) const { return _evidence[position]; }

    // Whether reading the names showed already that it is a directory; not every file system tells.
    bool isKnownDirectory(size_t position) const { return _names[position].isDirectory; }

  private:
    struct Name {
        uint64_t prefix; // the first eight bytes as a big-endian number, which orders as they do
        size_t start;    // in _bytes
        uint32_t length;
        bool isDirectory;
    };

    void add(const char* name, bool isDirectory);
    void examineOne(size_t position, int directory, const char* path, Asking::Thread* asking);
    void sort();

    std::vector<Name> _names;
    std::vector<Status> _statuses;         // of the same positions, once examined
    std::vector<char> _bytes;              // names with their terminators
    std::vector<EvidenceRecord> _evidence; // of the same positions where it is kept
    bool _keepsEvidence = false;
};

} // namespace snapshot
