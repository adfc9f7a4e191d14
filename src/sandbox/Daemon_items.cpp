// The part of the daemon that answers for the items of the space.
#include "platform/FileURL.h"
#include "sandbox/Daemon.h"
#include "sandbox/paths.h"

#include <algorithm>
#include <utility>

namespace sandbox {
namespace fs = std::filesystem;

std::optional<std::string> Daemon::checkedItem(std::string_view what, std::string_view remotePath) const {
    std::optional<std::string> path = Space::plainPath(remotePath);
    if (!path)
        refuse(what, remotePath, "not a path in the space");
    else if (*path == "/")
        refuse(what, remotePath, "the space itself stays as it is");
    else if (!space.localPath(*path))
        refuse(what, remotePath, "what is above it is not a folder of the space");
    else
        return path;
    return std::nullopt;
}

std::vector<std::string> Daemon::directories(std::string_view remotePath) const {
    const std::optional<std::string> remote = Space::plainPath(remotePath);
    return remote ? space.directories(*remote) : std::vector<std::string>();
}

std::vector<std::string> Daemon::directoriesNotInSync(std::string_view remotePath) const {
    std::vector<std::string> found = directories(remotePath);
    const std::lock_guard guard(stateLock);
    std::erase_if(found, [this](const std::string& directory) { return state.isInSync(directory); });
    return found;
}

std::optional<platform::Array> Daemon::contentOfDirectory(std::string_view remotePath, bool onlyFile,
                                                          bool recursive) const {
    const std::optional<std::string> remote = Space::plainPath(remotePath);
    return remote ? sandbox::contentOfDirectory(space, *remote, onlyFile, recursive, log) : std::nullopt;
}

std::optional<platform::Dictionary> Daemon::fileInfo(std::string_view remotePath) const {
    const std::optional<std::string> remote = Space::plainPath(remotePath);
    return remote ? itemInfo(space, *remote) : std::nullopt;
}

std::optional<std::string> Daemon::linkForSharing(std::string_view remotePath, bool isDirectory) const {
    constexpr std::string_view what = "give a link to";
    const std::optional<std::string> remote = checkedItem(what, remotePath);
    if (!remote) return std::nullopt;
    if (space.kind(*remote) != (isDirectory ? ItemKind::folder : ItemKind::file)) {
        refuse(what, remotePath,
               isDirectory ? "no such folder is in the space" : "no such file is in the space");
        return std::nullopt;
    }
    const auto url = platform::FileURL::withPath(space.localPath(*remote)->string());
    return url ? std::optional(url->uri()) : std::nullopt;
}

bool Daemon::deleteFile(std::string_view remotePath, bool toTrash) {
    const std::optional<std::string> remote = checkedItem("delete", remotePath);
    if (!remote) return false;
    if (!(toTrash ? space.trash(*remote) : space.remove(*remote)))
        return refuse("delete", remotePath, "nothing is there, or it cannot be removed");
    log.info(toTrash ? "Laid into the trash: " : "Deleted: ", *remote);
    return true;
}

bool Daemon::renameFile(std::string_view remotePath, std::string_view newPath) {
    const std::optional<std::string> from = checkedItem("rename", remotePath);
    const std::optional<std::string> to = from ? checkedItem("rename to", newPath) : std::nullopt;
    if (!to) return false;
    if (!space.rename(*from, *to))
        return refuse("rename", remotePath,
                      "it is not there, or its new path is taken, in it or cannot be had");
    log.info("Renamed ", *from, " to ", *to);
    return true;
}

bool Daemon::restoreFile(std::string_view remotePath) {
    const std::optional<std::string> remote = checkedItem("restore", remotePath);
    if (!remote) return false;
    const std::optional<std::string> restored = space.restore(*remote);
    if (!restored) return refuse("restore", remotePath, "it is not in the trash");
    log.info("Restored from the trash: ", *restored);
    return true;
}

bool Daemon::downloadFile(std::string_view remotePath, std::string_view toDirectory) {
    constexpr std::string_view what = "download";
    const std::optional<std::string> remote = checkedItem(what, remotePath);
    if (!remote) return false;
    if (space.kind(*remote) == ItemKind::missing) return refuse(what, remotePath, "nothing is there");
    std::error_code error;
    const fs::path folder = fs::canonical(toDirectory, error);
    if (!toDirectory.starts_with('/') || error || !fs::is_directory(folder, error))
        return refuse(what, remotePath, "its destination is not the absolute path of a folder");
    if (isAtOrBelow(folder.native(), space.folder().native()) ||
        isAtOrBelow(folder.native(), stateFolder.native()))
        return refuse(what, remotePath, "its destination is one of the sandbox's own folders");
    std::string local = folder / fs::path(*remote).filename();
    log.info("Downloading ", *remote, " to ", folder.string());
    uploader.add({UploadTask::Kind::download, std::move(local), *remote});
    return true;
}

bool Daemon::cacheFile(std::string_view remotePath) {
    const std::optional<std::string> remote = checkedItem("cache", remotePath);
    if (!remote) return false;
    if (space.kind(*remote) == ItemKind::missing) return refuse("cache", remotePath, "nothing is there");
    log.info("Caching ", *remote);
    uploader.add({UploadTask::Kind::cache, ownCacheFolder() + *remote, *remote});
    return true;
}

std::optional<std::string> Daemon::remoteSnapshot() const {
    const fs::path file = stateFolder / "remote-snapshot";
    if (!writeRemoteSnapshot(space, file, snapshotStore, log)) return std::nullopt;
    return file.string();
}

} // namespace sandbox
