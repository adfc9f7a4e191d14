// One folder of this machine whose content goes into the space, and the snapshot of what it held when it was
// looked at last. Looking again takes a fresh snapshot of the folder, or of the directory that is said to
// have changed, compares the two by their digests, and gives what differs.
//
// The snapshot engine's limits are the folder's: an item whose path has more than 1,023 bytes is not seen,
// and what the engine's built-in rules exclude is never reported.
//
// The folder is known by its place, its file system and its inode. Where another folder stands in its place,
// as when a medium was unmounted, nothing counts as deleted.
//
// Threads: one at a time.
#pragma once

#include "dirsnapshot/DirSnapshot.h"
#include "platform/DirectoryEvents.h"
#include "platform/ProcessLog.h"
#include "sandbox/PendingChanges.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sandbox {

// Paths below the folder, which begin with "/"; each is UTF-8.
struct Differences {
    std::vector<std::string> folders; // added; a folder before what it holds
    std::vector<std::string> files;   // added or modified, or named by an event
    std::vector<std::string> deleted; // a deleted folder with what was in it counts as one
    bool isFirstLook = false;         // nothing was known of the folder
};

// A folder that cannot be read looks empty. What it held counts as deleted only where the system says that
// nothing is there, or something that is never brought.
bool isGone(const std::string& localPath);

class LocalRoot {
  public:
    // The folder's path is canonical. The snapshot is kept from one run to the next in a file whose name
    // begins with the given path. Directories are watched before they are looked at, where there are events;
    // what happens in between comes as one. Log and events must outlive the root.
    LocalRoot(std::string folder, std::string keptAs, platform::DirectoryEvents* directoryEvents,
              platform::ProcessLog& processLog);

    // Looks at everything. Each item is reported, changed or not; deleted are those that the last snapshot
    // still had. None when the folder is not there. Exclusions are absolute local paths, left out with what
    // lies below them.
    std::optional<Differences> lookAtAll(const std::vector<std::string>& exclusions);

    // Looks at one directory in the folder, or, where that is gone, at the next one above it that is there.
    std::optional<Differences> lookAt(const std::string& directory, const DirectoryToLookAt& wanted,
                                      const std::vector<std::string>& exclusions);

    // An item that did not arrive is to be reported again the next time.
    void forget(const std::string& relativePath);

    // Writes the snapshot down, when it has changed; or throws it away, so that nothing counts as deleted the
    // next time.
    void keep();
    void discard();

    const std::string& folder() const { return path; }

  private:
    using Exclusions = std::vector<std::string>;

    bool isThere();
    std::string keptFile() const;
    std::string absolute(std::string_view relativePath) const;
    dirsnapshot::DirSnapshot scan(const std::string& relativePath, bool recursive);
    bool isExcludedByRule(const std::string& relativePath) const;
    void collect(const platform::Dictionary& comparison, const std::string& relativePath, Differences& found);
    static void collectDeleted(const platform::Dictionary& comparison, const std::string& relativePath,
                               Differences& found);
    void lookInto(const std::string& relativePath, bool reportsAll, const Exclusions& exclusions,
                  Differences& found);
    void lookAtEntries(const std::string& relativePath, const DirectoryToLookAt& wanted,
                       const Exclusions& exclusions, Differences& found);

    const std::string path;
    const std::string kept;
    platform::DirectoryEvents* events;
    platform::ProcessLog& log;
    std::string identity; // of the folder that the snapshot is of; "": not looked at yet
    dirsnapshot::DirSnapshot known;
    bool isChanged = false; // since it was kept
};

} // namespace sandbox
