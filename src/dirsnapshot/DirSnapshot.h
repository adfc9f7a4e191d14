// One snapshot of a directory tree as an object: taken from disk or loaded, asked, edited, saved, compared.
//
// Paths are relative to the snapshot and begin with "/", which alone is the root, unless a parameter says
// otherwise. They are byte strings of at most 1,023 bytes, the limit of the engine.
//
// Values: a snapshot owns its tree; copying copies the tree, moving hands it over. A snapshot without a tree
// (nothing was loaded) answers none or 0, compares like an empty root, and refuses every edit.
//
// Results are property lists: an item's attributes under the keys of platform/file_attributes.h, dates as
// whole seconds since 1970, and its path under DirSnapshotNodePathKey.
//
// What is refused is said in the log, in one line, and why in the next; nothing is raised. The log must
// outlive the snapshot and its copies.
//
// Threads: one thread at a time for each snapshot, queries included; `path` and `scanTotalFileNumber` alone
// may be used beside that. Scanning, loading and comparing run on the calling thread.
#pragma once

#include "platform/Clock.h"
#include "platform/ProcessLog.h"
#include "platform/Value.h"
#include "snapshot/DSSnapshot.h"
#include "snapshot/tree/cxx.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace dirsnapshot {

// Keys of the options of a scan.
inline constexpr const char* DirSnapshotInitializationUseSHA1Key = "DirSnapshotInitializationUseSHA1Key";
inline constexpr const char* DirSnapshotInitializationExcludingPatternsKey =
    "DirSnapshotInitializationExcludingPatternsKey";
inline constexpr const char* DirSnapshotInitializationIncludingPatternsKey =
    "DirSnapshotInitializationIncludingPatternsKey";
inline constexpr const char* DirSnapshotInitializationNoRecursive = "DirSnapshotInitializationNoRecursive";
inline constexpr const char* DirSnapshotInitializationProgressBlockKey =
    "DirSnapshotInitializationProgressBlockKey";

// Keys of comparison results and of items.
inline constexpr const char* DirSnapshotAddedPathsKey = "DirSnapshotAddedPathsKey";
inline constexpr const char* DirSnapshotModifiedPathsKey = "DirSnapshotModifiedPathsKey";
inline constexpr const char* DirSnapshotDeletedPathsKey = "DirSnapshotDeletedPathsKey";
inline constexpr const char* DirSnapshotUnchangedPathsKey = "DirSnapshotUnchangedPathsKey";
inline constexpr const char* DirSnapshotNodePathKey = "DirSnapshotNodePathKey";

// Called with the absolute path of each entry before it is examined; true stops the reading of the directory
// that the entry is in. What it raises ends the scan and leaves the initialiser.
using ProgressBlock = std::function<bool(const std::string& path)>;

// A boolean for use of SHA-1 and for no recursion, strings for the pattern lists, a function for progress. An
// option of another type counts as absent.
using InitializationOption = std::variant<bool, std::vector<std::string>, ProgressBlock>;
using InitializationOptions = std::map<std::string, InitializationOption, std::less<>>;

using snapshot::emptyTree;
using snapshot::Tree;

class DirSnapshot {
  public:
    // What a snapshot stands on: the log, and the clock that dates what is added to it. Both outlive it.
    struct Surroundings {
        // NOLINTNEXTLINE(google-explicit-constructor): the log alone stands for it
        Surroundings(platform::ProcessLog& itsLog, const platform::Clock& itsClock = platform::machineClock())
            : log(&itsLog), clock(&itsClock) {}
        platform::ProcessLog* log;    // never null
        const platform::Clock* clock; // never null
    };

    // A snapshot without a tree.
    explicit DirSnapshot(const Surroundings& surroundings);

    // A scan of the directory, whose path is absolute. The patterns are handed to the scan, which records
    // everything all the same. There is always a tree, an empty one when the directory cannot be read.
    static DirSnapshot initWithDirectoryPath(const Surroundings& surroundings, const std::string& path);
    static DirSnapshot initWithDirectoryPath(const Surroundings& surroundings, const std::string& path,
                                             std::vector<std::string> excludingPatterns,
                                             bool usingSHA1 = false);
    static DirSnapshot initWithDirectoryPath(const Surroundings& surroundings, const std::string& path,
                                             const InitializationOptions& options);

    // What is stored at the path of a file, for a directory that becomes the snapshot's path. Type "sync" or
    // "backup": the flat file when there is one, else the database beside it; any other type: the flat file.
    static DirSnapshot initWithContentsOfFile(const Surroundings& surroundings, const std::string& file,
                                              std::string forDirectory, const std::string& withType);

    // A flat file, with a digest after each record when asked for. The snapshot has no path.
    static DirSnapshot initWithContentsOfFile(const Surroundings& surroundings, const std::string& file,
                                              bool usesSHA1);

    static DirSnapshot directorySnapshotWithDirectoryPath(const Surroundings& surroundings,
                                                          const std::string& path,
                                                          std::vector<std::string> excludingPatterns = {});
    static DirSnapshot directorySnapshotWithContentsOfFile(const Surroundings& surroundings,
                                                           const std::string& file, std::string forDirectory,
                                                           const std::string& withType);

    // A deep copy; `scanTotalFileNumber` starts at 0.
    DirSnapshot(const DirSnapshot& other);
    DirSnapshot(DirSnapshot&& other) noexcept;
    DirSnapshot& operator=(DirSnapshot other) noexcept;
    ~DirSnapshot();

    // The directory that the snapshot describes.
    std::optional<std::string> path() const;
    void setPath(std::optional<std::string> path);

    // Whether there is a tree.
    bool loaded() const { return _root != nullptr; }

    bool usesSHA1() const { return _usesSHA1; }

    // Entries that the scan examined.
    std::uint64_t scanTotalFileNumber() const { return _scanTotalFileNumber; }
    void setScanTotalFileNumber(std::uint64_t number) { _scanTotalFileNumber = number; }

    // Kept with the snapshot for its owner and copied with it; nothing here applies them.
    const std::vector<std::string>& exclusionPatterns() const { return _exclusionPatterns; }
    void setExclusionPatterns(std::vector<std::string> patterns) { _exclusionPatterns = std::move(patterns); }

    // Type "sync" or "backup": the database beside the file's path; any other type: the flat file. Always
    // true; what goes wrong is said on standard error. Without a tree nothing is touched.
    bool writeToFile(const std::string& file, const std::string& withType) const;

    // The receiver is the newer one. The paths of each category that is not empty, in the order of
    // snapshot/DSCompare.h. The flag has no effect.
    platform::Dictionary compareWithSnapshot(const DirSnapshot& other, bool useSHA1 = false) const;

    // Type, size and modification date; none when there is no such item.
    std::optional<platform::Dictionary> attributesOfItemAtPath(const std::string& path) const;

    // A dictionary for each child in list order: path (the given one and the name), type, size, modification
    // and creation date; only the path for a child of another kind than directory, file or link. None when
    // there is no such directory.
    std::optional<platform::Array> contentsOfDirectoryAtPath(const std::string& path) const;

    // The number of items below a directory that are not directories; hidden ones, whose name begins with
    // ".", only when asked for. Without recursion each child directory, hidden or not, counts as one. 0 for
    // anything else.
    std::uint64_t countFilesAtPath(const std::string& path, bool recursive, bool includeHidden) const;
    static std::uint64_t _countFilesAtPath(const DSNode* node, bool recursive, bool includeHidden);

    // The tree on standard output between two lines in the log.
    void debug() const;

    // "PATH MODIFIED CHILDREN  DIGEST" for the node and everything below it. A digest that was not computed
    // prints as zeros.
    static void printAll(const DSNode* node);

    // ---- Editing. Paths are taken in standard form. Digests are not refreshed.

    // Adds an item at the end of its directory, making the directories on the way; for an item that is there
    // already, only size and modification date are set. "/" is ignored. A missing date or size counts as 0;
    // an unknown type is DSNodeTypeOther.
    void addItemAtPath(std::string_view path, const platform::Dictionary& fileInfo);

    // Moves an item and all below it to the end of another directory, under the new path's last name. Where
    // that directory is missing, each one on the way is made, or, where it exists, gets size 0 and the
    // current date. An item that has the new path stays there, before the moved one. Refused: "/" as either
    // path, and a new path below the old one.
    void moveItemAtPath(std::string_view path, std::string_view toNewPath);

    // Destroys an item with all below it; "/" is refused. Nothing happens when there is no such item.
    void removeItemAtPath(std::string_view path);

    // Adds everything in another snapshot below a path, which is made when it is missing; items that are
    // there already are updated. An item whose name is empty, "." or ".." is refused with all below it.
    void addPartial(const DirSnapshot& partial, std::string_view atPath);

    // Adds one item of a partial snapshot's listing, and all below it, to the receiver. The target is handed
    // along and not looked at.
    void addNode(const platform::Dictionary& item, DirSnapshot& toSnapshot, const DirSnapshot& fromPartial,
                 std::string_view relativeTo);

    // A copy of an item and what is below it, as a snapshot with that path; none when there is no such item.
    // With the flag the children have no children of their own.
    std::optional<DirSnapshot> subDirsnapshotAtPath(const std::string& path, bool NoRecursive = false) const;

    // Scans an absolute directory again, and puts the result in place of what the snapshot had for it: the
    // whole tree for the snapshot's own path. Each occurrence of the snapshot's path in the given one stands
    // for "/", wherever it is. Refused when the directory above is not in the snapshot.
    void reloadSnapshotPart(const std::string& path);

    // The node at a path, byte for byte, or null. It stays the snapshot's.
    DSNode* nodeAtFullpath(const std::string& path) const;

    // Takes a tree (its root named "/") and hands the former one over.
    [[nodiscard]] Tree setRoot(Tree root);

    // ---- Digests.

    // Computes the digest of every node and puts all children in the order of their names.
    void computeHash();

    // What differs by digest: `this` is the current state, the other snapshot the previous one. Both get
    // fresh digests. The result has the added, modified and deleted items, each as a dictionary of type, size
    // and path, under the key of its category where there are any.
    //
    // Left out with all below them: items that the built-in rules exclude, and those that an exclusion names:
    // an absolute path (of the item below the receiver's path), or a bare name at any depth. A deleted item
    // that still exists on disk below the receiver's path is not reported.
    //
    // None when there is no other snapshot.
    std::optional<platform::Dictionary>
    compareWithSnapshotUsingHashes(DirSnapshot* other, bool ignoreDeleted,
                                   const std::vector<std::string>& withExclusions);

    // The same for one part: the nodes at two absolute paths, each below its own snapshot's path. A part that
    // is not there compares like an empty root.
    std::optional<platform::Dictionary>
    compareWithSnapshotUsingHashes(DirSnapshot* other, const std::string& nodeInOriginal,
                                   const std::string& nodeInCfr, bool ignoreDeleted,
                                   const std::vector<std::string>& withExclusions);

    // The same for two nodes, either of which may be null, and any base path; with an empty base nothing is
    // looked for on disk.
    static platform::Dictionary compareWithSnapshotUsingHashes(DSNode* current, DSNode* with,
                                                               bool ignoreDeleted,
                                                               const std::vector<std::string>& withExclusions,
                                                               std::string_view andBasePath);

    // Whether the built-in rules exclude an absolute path or one of the paths above it.
    static bool isNodeAtFullPathExcluded(std::string_view path);

  private:
    static std::int32_t helperCallback(void* context);

    bool refusesEditing(const char* what) const;
    std::optional<std::string> editablePath(std::string_view path, const char* what) const;
    void addContents(const DirSnapshot& partial, const std::string& directory, std::string_view below);

    Surroundings around;
    mutable std::mutex pathLock;
    std::optional<std::string> _path; // guarded by pathLock
    Tree _root;
    std::vector<std::string> _exclusionPatterns;
    bool _usesSHA1 = false;
    std::atomic<std::uint64_t> _scanTotalFileNumber = 0;
    ProgressBlock _block;
};

} // namespace dirsnapshot
