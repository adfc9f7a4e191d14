// Digests of files' contents in a file that grows by each of them, so that an interrupted run goes on where
// it was; docs/formats/digests.md has its bytes.
#pragma once

#include "snapshot/DSNode.h"

#include <sys/stat.h>

#include <array>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

namespace dirsnapshot_tool {

using Digest = std::array<uint8_t, DSNodeHashLength>;

// What the file system said of a file when its digest was taken. Times are nanoseconds since 1970.
struct FileState {
    explicit FileState(const struct stat& status);
    FileState() = default;
    bool operator==(const FileState&) const = default;

    uint64_t device = 0;
    uint64_t inode = 0;
    int64_t size = 0;
    int64_t modified = 0;
    int64_t changed = 0;
};

// Any thread may find and add.
class DigestJournal {
  public:
    DigestJournal() = default;
    ~DigestJournal();
    DigestJournal(const DigestJournal&) = delete;
    DigestJournal& operator=(const DigestJournal&) = delete;

    // Reads what is there, and makes the file when it is not. False after a message, for one that is not a
    // journal too, which is left alone.
    bool open(const std::string& path);

    // The digest that was taken of a file in exactly this state. Not one of a file that changed within two
    // seconds before it was read: a later change would not have shown in its times.
    bool find(const FileState& state, Digest& digest) const;

    // The digest that was taken of the file at an absolute path when it had this size and this time (whole
    // seconds). Earlier runs come before this one. Not where earlier ones found several.
    bool find(const std::string& path, int64_t size, int64_t modifiedTime, Digest& digest) const;

    // Appends it at once. `begun` is when the reading began. False after a message, once for all.
    bool add(const FileState& state, int64_t begun, const std::string& path, const Digest& digest);

  private:
    struct HashOfState {
        size_t operator()(const FileState& state) const {
            return std::hash<uint64_t>()(state.inode * 31 + static_cast<uint64_t>(state.changed));
        }
    };
    struct AtPath {
        Digest digest;
        bool isOfThisRun = false;
        bool isAmbiguous = false;
    };

    static std::string keyOf(std::string_view path, int64_t size, int64_t seconds);
    bool read(const std::string& path);
    bool take(std::string_view record);
    void remember(const FileState& state, int64_t begun, std::string_view path, const Digest& digest,
                  bool isOfThisRun);

    mutable std::mutex _mutex;
    int _file = -1;
    bool _failed = false;
    std::string _path;
    std::unordered_map<FileState, Digest, HashOfState> _byState;
    std::unordered_map<std::string, AtPath> _byPath;
};

} // namespace dirsnapshot_tool
