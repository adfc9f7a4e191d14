// The part of the uploader that brings single items as they are: into the space, and out of it.
#include "sandbox/Uploader.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <unistd.h>
#include <utility>

namespace sandbox {
namespace {

namespace fs = std::filesystem;
using Kind = UploadTask::Kind;

// The path or one beside it at which nothing is.
fs::path freeLocalPath(const fs::path& wanted) {
    fs::path candidate = wanted;
    std::error_code error;
    for (int number = 2; fs::exists(fs::symlink_status(candidate, error)); ++number)
        candidate = wanted.parent_path() / numberedName(wanted.filename(), number);
    return candidate;
}

} // namespace

void Uploader::bring(const UploadTask& wanted) {
    UploadTask task = wanted;
    if (task.kind == Kind::drop) {
        if (events) events->watchTree(task.localPath);
    } else {
        observer.phaseChanged("syncStatusScanning", std::nullopt);
        // Found only now: what was brought before has its place.
        const std::optional<std::string> free = space.freePath(task.remotePath);
        if (!free) {
            log.error("No folder in the space can take ", task.localPath);
            return;
        }
        task.remotePath = *free;
    }
    const Scan found = scan(task);
    if (task.kind == Kind::drop && found.files.empty()) return;
    observer.phaseChanged("syncStatusDiff", std::nullopt);
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
            log.info("Left out, neither a file nor a folder: ", local.string());
            continue;
        }
        if (!space.makeDirectory(remote)) {
            log.error("No folder ", remote, " can be made in the space; left out: ", local.string());
            continue;
        }
        found.directories.push_back(local.string());
        std::vector<fs::path> children;
        for (fs::directory_iterator entry(local, error), end; !error && entry != end; entry.increment(error))
            children.push_back(entry->path());
        if (error) log.error("Cannot read ", local.string(), ": ", error.message());
        // The last one is taken first: reversed order makes the upload go by name.
        std::sort(children.rbegin(), children.rend());
        for (fs::path& child : children) {
            const std::string name = child.filename().string();
            if (!isText(name)) {
                log.error("Left out, its name is no UTF-8: ", child.string());
                continue;
            }
            std::string childRemote = remoteChild(remote, name);
            open.emplace_back(std::move(child), std::move(childRemote));
        }
    }
    return found;
}

// One item of the space with all below it. A folder's links and special files stay behind.
void Uploader::fetch(const UploadTask& task) {
    const bool isCache = task.kind == Kind::cache;
    const fs::path target = isCache ? fs::path(task.localPath) : freeLocalPath(task.localPath);
    std::vector<std::pair<std::string, fs::path>> open{{task.remotePath, target}};
    while (!open.empty() && !isStopping()) {
        auto [remote, local] = std::move(open.back());
        open.pop_back();
        const std::optional<fs::path> source = space.localPath(remote);
        const ItemKind kind = source ? space.kind(remote) : ItemKind::missing;
        std::error_code error;
        if (kind == ItemKind::file) {
            if (isCache) fs::create_directories(local.parent_path(), error);
            if (isCache && fs::canonical(local.parent_path(), error) != local.parent_path()) {
                log.error("A link leads out of the cache folder, nothing is laid there: ", local.string());
                continue;
            }
            const fs::path incoming =
                isCache
                    ? fs::path(snapshotFolder) / "incoming"
                    : local.parent_path() / (".tsyncquenz-sandbox-incoming-" + std::to_string(::getpid()));
            FileTransfer file{source->string(), incoming, local};
            file.replaces = isCache;
            const Work work{task, local.string(), remote, nullptr};
            const TransferResult result = transfer(work, file);
            if (result == TransferResult::taken)
                log.error("Something is there already, so it is not downloaded: ", local.string());
        } else if (kind == ItemKind::folder) {
            fs::create_directory(local, error);
            if (isCache) fs::create_directories(local, error);
            if (error) {
                log.error("Cannot make ", local.string(), ": ", error.message());
                continue;
            }
            for (fs::directory_iterator entry(*source, error), end; !error && entry != end;
                 entry.increment(error)) {
                const std::string name = entry->path().filename().string();
                open.emplace_back(remoteChild(remote, name), local / name);
            }
        } else {
            log.info("Left out, neither a file nor a folder: ", remote);
        }
    }
}

} // namespace sandbox
