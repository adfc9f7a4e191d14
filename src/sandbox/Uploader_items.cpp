// The part of the uploader that brings single items as they are: into the space, and out of it.
#include "sandbox/Uploader.h"
#include "sandbox/paths.h"
#include "sandbox/placement.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <unistd.h>
#include <utility>

namespace sandbox {
namespace {

namespace fs = std::filesystem;
using Kind = UploadTask::Kind;

bool isLater(const timespec& one, const timespec& other) {
    return std::pair(one.tv_sec, one.tv_nsec) > std::pair(other.tv_sec, other.tv_nsec);
}

} // namespace

void Uploader::bring(const UploadTask& wanted) {
    UploadTask task = wanted;
    if (task.kind == Kind::drop) {
        if (around.events) around.events->watchTree(task.localPath);
    } else {
        around.observer.phaseChanged("syncStatusScanning", std::nullopt);
        // Found only now: what was brought before has its place.
        const std::optional<std::string> free = around.space.freePath(task.remotePath);
        if (!free) {
            around.log.error("No folder in the space can take ", task.localPath);
            return;
        }
        task.remotePath = *free;
    }
    const Scan found = scan(task);
    if (task.kind == Kind::drop && found.files.empty()) return;
    around.observer.phaseChanged("syncStatusDiff", std::nullopt);
    transferAll(found.files);
    if (task.kind == Kind::copy) return;
    for (auto directory = found.directories.rbegin(); directory != found.directories.rend(); ++directory)
        if (task.kind == Kind::move || *directory != task.localPath)
            ::rmdir(directory->c_str()); // one that still holds something stays
}

// Folders are made on the way, so that an empty one arrives too.
Uploader::Scan Uploader::scan(const UploadTask& task) {
    Scan found;
    std::vector<std::pair<fs::path, std::string>> open{{task.localPath, task.remotePath}};
    while (!open.empty() && !isStopping()) {
        auto [local, remote] = std::move(open.back());
        open.pop_back();
        std::error_code error;
        // The root of a task may be reached through a link, as the user chose it; what lies below may not.
        const bool isRoot = remote == task.remotePath;
        const fs::file_type type =
            (isRoot ? fs::status(local, error) : fs::symlink_status(local, error)).type();
        if (type == fs::file_type::regular) {
            found.files.push_back({task, local.string(), std::move(remote), nullptr});
            continue;
        }
        if (type != fs::file_type::directory) {
            around.log.info("Left out, neither a file nor a folder: ", local.string());
            continue;
        }
        if (!around.space.makeDirectory(remote)) {
            around.log.error("No folder ", remote, " can be made in the space; left out: ", local.string());
            continue;
        }
        found.directories.push_back(local.string());
        std::vector<fs::path> children;
        for (fs::directory_iterator entry(local, error), end; !error && entry != end; entry.increment(error))
            children.push_back(entry->path());
        if (error) around.log.error("Cannot read ", local.string(), ": ", error.message());
        // The last one is taken first: reversed order makes the upload go by name.
        std::sort(children.rbegin(), children.rend());
        for (fs::path& child : children) {
            const std::string name = child.filename().string();
            if (isStaged(name)) continue;
            if (!isText(name)) {
                around.log.error("Left out, its name is not UTF-8: ", child.string());
                continue;
            }
            std::string childRemote = remoteChild(remote, name);
            open.emplace_back(std::move(child), std::move(childRemote));
        }
    }
    return found;
}

void Uploader::walkSpace(
    const std::string& remotePath,
    const std::function<bool(const std::string& remote, const fs::path& source, ItemKind)>& visit) {
    std::vector<std::string> open{remotePath};
    while (!open.empty() && !isStopping()) {
        const std::string remote = std::move(open.back());
        open.pop_back();
        const std::optional<fs::path> source = around.space.localPath(remote);
        const ItemKind kind = source ? around.space.kind(remote) : ItemKind::missing;
        if (kind != ItemKind::file && kind != ItemKind::folder) {
            around.log.info("Left out, neither a file nor a folder: ", remote);
            continue;
        }
        if (!visit(remote, *source, kind) || kind == ItemKind::file) continue;
        std::error_code error;
        for (fs::directory_iterator entry(*source, error), end; !error && entry != end;
             entry.increment(error))
            open.push_back(remoteChild(remote, entry->path().filename().string()));
        if (error) around.log.error("Cannot read ", remote, ": ", error.message());
    }
}

// The item appears in the person's folder when it is whole, or not at all.
void Uploader::download(const UploadTask& task) {
    const fs::path wanted = task.localPath;
    const StagingFolder staging(wanted.parent_path(), stagingNote(), around.log);
    if (staging.folder().empty()) return;
    walkSpace(task.remotePath, [&](const std::string& remote, const fs::path& source, ItemKind kind) {
        const fs::path local = staging.item() += remote.substr(task.remotePath.size());
        if (kind == ItemKind::file) {
            const Work work{task, local.string(), remote, nullptr};
            return transfer(work, {source.string(), staging.incoming(), local}) == TransferResult::stored;
        }
        std::error_code error;
        if (fs::create_directory(local, error)) return true;
        around.log.error("Cannot make ", local.string(), ": ", error.message());
        return false;
    });
    std::error_code error;
    if (isStopping() || !fs::exists(fs::symlink_status(staging.item(), error))) return;
    const fs::path placed = staging.place(wanted);
    if (!placed.empty()) around.log.info("Downloaded ", task.remotePath, " to ", placed.string());
}

// Into the folder of cached copies, where each has its path in the space, in place of an older copy.
void Uploader::fetchIntoCache(const UploadTask& task) {
    const fs::path cache = task.localPath.substr(0, task.localPath.size() - task.remotePath.size());
    walkSpace(task.remotePath, [&](const std::string& remote, const fs::path& source, ItemKind kind) {
        const std::string folder =
            kind == ItemKind::folder ? remote : remote.substr(0, std::max<std::size_t>(remote.rfind('/'), 1));
        const std::optional<fs::path> local =
            makeConfinedFolder(cache, folder) ? confinedPath(cache, remote) : std::nullopt;
        if (!local) {
            around.log.error(
                "A link leads out of the cache folder, or a file is in the way; nothing is laid at ",
                cache.string(), remote);
            return false;
        }
        if (kind == ItemKind::folder) return true;
        struct stat cached {};
        struct stat original {};
        if (lstat(local->c_str(), &cached) == 0 && lstat(source.c_str(), &original) == 0 &&
            isLater(cached.st_mtim, original.st_mtim)) {
            around.log.info("The cached copy is later, so it stays: ", local->string());
            return true;
        }
        const Work work{task, local->string(), remote, nullptr};
        transfer(work, {source.string(), fs::path(snapshotFolder) / "incoming", *local});
        return true;
    });
}

} // namespace sandbox
