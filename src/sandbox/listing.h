// What lies in the space, as property lists and as a snapshot: read with the snapshot engine.
//
// An item is a dictionary of type, size, modification date and path, under the keys of
// platform/file_attributes.h and DirSnapshotNodePathKey; the path is the full remote one. Links and the
// space's private folder are not items.
#pragma once

#include "platform/ProcessLog.h"
#include "platform/Value.h"
#include "sandbox/Space.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace sandbox {

// The items in a folder, a folder before what it holds, by name. None when it is not a folder.
std::optional<platform::Array> contentOfDirectory(const Space& space, std::string_view remotePath,
                                                  bool onlyFile, bool recursive, platform::ProcessLog& log);

// None when there is no such item.
std::optional<platform::Dictionary> itemInfo(const Space& space, const std::string& remotePath);

enum class SnapshotStore { database, flatFile };

// Writes a snapshot of the whole space: to the file itself or, as a database, to its path followed by ".db".
// Readers find the former one or the new one, never half of one. False, and a log line, when nothing could
// be written.
bool writeRemoteSnapshot(const Space& space, const std::filesystem::path& file, SnapshotStore store,
                         platform::ProcessLog& log);

} // namespace sandbox
