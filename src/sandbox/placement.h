// What is on the disk whole or not at all: how an item gets its place in a folder of the person, at once and
// never over another one, and how a small file is written.
#pragma once

#include "platform/ProcessLog.h"

#include <filesystem>
#include <string_view>

namespace sandbox {

// Renames within one file system; what is at the new place stays. False, with errno: EEXIST when it is taken.
bool renameWithoutReplacing(const std::filesystem::path& from, const std::filesystem::path& to);

// Whether a path has a component that is a staging folder's name, and so is nobody's item.
bool isStaged(std::string_view path);

// Where an item is put together until it is whole: a folder of its own beside the item's place, under a name
// that no look at a synced folder takes for an item, and closed to others. The note, a file in the state
// folder, names it while it exists; so what a killed process left is removed at the next start.
class StagingFolder {
  public:
    // `folder` is empty, and the log says why, when none can be made.
    StagingFolder(const std::filesystem::path& beside, std::filesystem::path noteFile,
                  platform::ProcessLog& log);
    ~StagingFolder(); // with what is still in it
    StagingFolder(const StagingFolder&) = delete;
    StagingFolder& operator=(const StagingFolder&) = delete;

    const std::filesystem::path& folder() const { return path; }
    std::filesystem::path item() const { return path / "item"; }         // what is to be placed
    std::filesystem::path incoming() const { return path / "incoming"; } // a file of it on its way

    // Gives the item its place, or a numbered one beside it when that is taken, once it is safely on the
    // disk. Empty, and the log says why, when it could not.
    std::filesystem::path place(const std::filesystem::path& wanted) const;

    // What an earlier process left, as its note says. A folder that cannot be removed keeps its note.
    static void removeLeft(const std::filesystem::path& noteFile, platform::ProcessLog& log);

  private:
    std::filesystem::path note;
    platform::ProcessLog& log;
    std::filesystem::path path;
};

} // namespace sandbox
