#include "sandbox/listing.h"

#include "dirsnapshot/DirSnapshot.h"
#include "platform/file_attributes.h"
#include "sandbox/paths.h"

#include <sys/stat.h>

#include <iterator>
#include <utility>
#include <vector>

namespace sandbox {
namespace {

namespace fs = std::filesystem;
using dirsnapshot::DirSnapshot;
using dirsnapshot::DirSnapshotNodePathKey;

DirSnapshot snapshotOf(const Space& space, const std::string& folder, bool recursive,
                       platform::ProcessLog& log) {
    dirsnapshot::InitializationOptions options;
    options.emplace(dirsnapshot::DirSnapshotInitializationNoRecursive, !recursive);
    DirSnapshot snapshot = DirSnapshot::initWithDirectoryPath(log, folder, options);
    if (folder == space.folder())
        snapshot.removeItemAtPath(remoteChild("/", space.privateFolder().filename().string()));
    return snapshot;
}

} // namespace

std::optional<platform::Array> contentOfDirectory(const Space& space, std::string_view remotePath,
                                                  bool onlyFile, bool recursive, platform::ProcessLog& log) {
    if (space.kind(remotePath) != ItemKind::folder) return std::nullopt;
    const std::string folder = space.localPath(remotePath)->string();
    const DirSnapshot snapshot = snapshotOf(space, folder, recursive, log);
    const std::string prefix = remotePath == "/" ? "" : std::string(remotePath);
    platform::Array content;
    // The levels still to be listed, each from its end: a folder's items come before what follows it.
    std::vector<platform::Value> open;
    const auto enter = [&](const std::string& path) {
        auto items = snapshot.contentsOfDirectoryAtPath(path);
        if (items) std::move(items->rbegin(), items->rend(), std::back_inserter(open));
    };
    enter("/");
    while (!open.empty()) {
        platform::Dictionary item = std::move(*open.back().dictionary());
        open.pop_back();
        const std::string path = *item.at(DirSnapshotNodePathKey).string();
        const platform::Value* type = find(item, platform::NSFileType);
        if (!type || !isText(path)) continue;
        const bool isFolder = *type->string() == platform::NSFileTypeDirectory;
        if (isFolder && recursive) enter(path);
        if (isFolder ? onlyFile : *type->string() != platform::NSFileTypeRegular) continue;
        item.erase(platform::NSFileCreationDate); // the last access, in a scan
        item.insert_or_assign(DirSnapshotNodePathKey, prefix + path);
        content.emplace_back(std::move(item));
    }
    return content;
}

std::optional<platform::Dictionary> itemInfo(const Space& space, const std::string& remotePath) {
    const ItemKind kind = space.kind(remotePath);
    const std::optional<fs::path> path = space.localPath(remotePath);
    struct stat info {};
    if ((kind != ItemKind::file && kind != ItemKind::folder) || lstat(path->c_str(), &info) != 0)
        return std::nullopt;
    return platform::Dictionary{
        {DirSnapshotNodePathKey, remotePath},
        {platform::NSFileType,
         kind == ItemKind::folder ? platform::NSFileTypeDirectory : platform::NSFileTypeRegular},
        {platform::NSFileSize, std::int64_t{info.st_size}},
        {platform::NSFileModificationDate, std::int64_t{info.st_mtim.tv_sec}},
    };
}

bool writeRemoteSnapshot(const Space& space, const fs::path& file, SnapshotStore store,
                         platform::ProcessLog& log) {
    const DirSnapshot snapshot = snapshotOf(space, space.folder().string(), true, log);
    const bool isFlat = store == SnapshotStore::flatFile;
    const std::string suffix = isFlat ? "" : ".db";
    const fs::path beside = file.string() + "-new";
    std::error_code error;
    // Rows of an older database would stay in it.
    fs::remove(beside.string() + suffix, error);
    snapshot.writeToFile(beside.string(), isFlat ? "flat" : "sync");
    // A reader takes the flat file where there is one: the other store's snapshot must not outlive its own.
    fs::rename(beside.string() + suffix, file.string() + suffix, error);
    if (error) {
        log.error("The snapshot of the space cannot be written to ", file.string(), suffix, ": ",
                  error.message());
        return false;
    }
    fs::remove(isFlat ? file.string() + ".db" : file.string(), error);
    return true;
}

} // namespace sandbox
