// What the uploader is asked to do, and whom it tells.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sandbox {

struct UploadTask {
    enum class Kind {
        sync,     // a pair: everything below the local root that differs, and deletions
        mirror,   // the same without deletions: the folder of cached copies
        drop,     // what lies below the local folder is moved into the space, where it gets free names
        copy,     // one item, of which the space gets a copy of its own
        move,     // the same, and each file is removed from its old place once it has safely arrived
        download, // one item of the space, to a local path that is free
        cache,    // the same, in place of an older copy
        end,      // a pair has ended: what was known of it is forgotten
    };
    Kind kind = Kind::sync;
    std::string localPath;
    std::string remotePath; // what localPath itself is in the space; plain

    bool isRoot() const { return kind == Kind::sync || kind == Kind::mirror || kind == Kind::drop; }

    friend bool operator==(const UploadTask&, const UploadTask&) = default;
};

struct FileInFlight {
    std::string localPath;
    std::uint64_t size = 0; // bytes
};

// Called on the uploader's thread, which holds none of its locks meanwhile.
class UploadObserver {
  public:
    virtual ~UploadObserver() = default;

    // The folders whose changes go into the space, as tasks of the first three kinds.
    virtual std::vector<UploadTask> roots() = 0;

    // What is excluded, as absolute local paths below the local folder of a task.
    virtual std::vector<std::string> exclusions(const UploadTask& task, const std::string& folder) = 0;

    // Whether an item of a task is still to be uploaded. Asked before each item and again while it is being
    // copied: a "no" ends its copying and leaves no trace of it.
    virtual bool isWanted(const UploadTask& task, std::string_view remotePath) = 0;

    // The phase, as the sync status names it, and the file in flight, which only "syncStatusTransfer" has.
    virtual void phaseChanged(std::string_view status, const std::optional<FileInFlight>& file) = 0;
};

} // namespace sandbox
