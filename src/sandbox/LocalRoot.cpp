#include "sandbox/LocalRoot.h"

#include "platform/file_attributes.h"
#include "sandbox/paths.h"
#include "sandbox/placement.h"

#include <sys/stat.h>
#include <sys/statfs.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unordered_set>
#include <utility>

namespace sandbox {
namespace {

using dirsnapshot::DirSnapshot;
using platform::Dictionary;

const std::string& textOf(const Dictionary& item, std::string_view key) {
    static const std::string none;
    const std::string* text = platform::textAt(item, key);
    return text ? *text : none;
}

// The items of one category of a comparison.
template <typename Visitor>
void forEach(const Dictionary& comparison, const char* category, Visitor&& visit) {
    const platform::Array* items = platform::arrayAt(comparison, category);
    if (!items) return;
    for (const platform::Value& item : *items)
        visit(*item.dictionary());
}

std::string joined(const std::string& directory, std::string_view below) {
    return directory == "/" ? std::string(below) : directory + std::string(below);
}

bool isFolder(const Dictionary& item) {
    return textOf(item, platform::NSFileType) == platform::NSFileTypeDirectory;
}

// What a snapshot knows of a directory's own entries, without what is below them.
DirSnapshot entriesOf(const DirSnapshot& snapshot, const std::string& directory, platform::ProcessLog& log) {
    DirSnapshot entries(log);
    static_cast<void>(entries.setRoot(dirsnapshot::emptyTree()));
    if (const auto items = snapshot.contentsOfDirectoryAtPath(directory))
        for (const platform::Value& item : *items) {
            const std::string& itemPath = textOf(*item.dictionary(), dirsnapshot::DirSnapshotNodePathKey);
            entries.addItemAtPath(itemPath.substr(itemPath.rfind('/')), *item.dictionary());
        }
    return entries;
}

} // namespace

LocalRoot::LocalRoot(std::string folder, std::string keptAs, platform::DirectoryEvents* directoryEvents,
                     platform::ProcessLog& processLog)
    : path(std::move(folder)), kept(std::move(keptAs)), events(directoryEvents), log(processLog),
      known(processLog) {}

std::string LocalRoot::keptFile() const { return kept + "." + identity; }

std::string LocalRoot::absolute(std::string_view relativePath) const {
    return relativePath == "/" ? path : path + std::string(relativePath);
}

// When it is not the same folder as before, what was known of it is dropped too.
bool LocalRoot::isThere() {
    struct stat info {};
    if (lstat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
        log.error("The folder ", path, " is not there; nothing is done about it until it is again");
        return false;
    }
    struct statfs fileSystem {};
    if (statfs(path.c_str(), &fileSystem) != 0) return false;
    // The top folders of many media have the same inode.
    std::array<unsigned, 2> device{};
    static_assert(sizeof device == sizeof fileSystem.f_fsid);
    std::memcpy(device.data(), &fileSystem.f_fsid, sizeof device);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%08x%08x-%ju", device[0], device[1],
                  static_cast<std::uintmax_t>(info.st_ino));
    if (identity == text.data()) return true;
    identity = text.data();
    known = DirSnapshot::initWithContentsOfFile(log, keptFile(), path, "local");
    return true;
}

DirSnapshot LocalRoot::scan(const std::string& relativePath, bool recursive) {
    const std::string directory = absolute(relativePath);
    if (recursive && events && !events->watchTree(directory))
        log.error("Some folders in ", directory,
                  " cannot be watched: changes in them are noticed when somebody asks");
    dirsnapshot::InitializationOptions options;
    options.emplace(dirsnapshot::DirSnapshotInitializationNoRecursive, !recursive);
    return DirSnapshot::initWithDirectoryPath(log, directory, options);
}

bool isGone(const std::string& localPath) {
    struct stat info {};
    if (lstat(localPath.c_str(), &info) != 0) return errno == ENOENT || errno == ENOTDIR;
    return !S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode);
}

std::optional<Differences> LocalRoot::lookAtAll(const Exclusions& exclusions) {
    if (!isThere()) return std::nullopt;
    Differences found;
    found.isFirstLook = !known.loaded();
    lookInto("/", true, exclusions, found);
    return found;
}

std::optional<Differences> LocalRoot::lookAt(const std::string& directory, const DirectoryToLookAt& wanted,
                                             const Exclusions& exclusions) {
    if (!isThere()) return std::nullopt;
    if (!known.loaded()) return lookAtAll(exclusions);
    std::string relativePath = directory.size() > path.size() ? directory.substr(path.size()) : "/";
    struct stat info {};
    while (relativePath != "/" &&
           (lstat(absolute(relativePath).c_str(), &info) != 0 || !S_ISDIR(info.st_mode)))
        relativePath.resize(std::max<std::size_t>(relativePath.rfind('/'), 1));
    Differences found;
    if (isStaged(relativePath) || (relativePath != "/" && isExcludedByRule(relativePath))) return found;
    if (wanted.recursive)
        lookInto(relativePath, wanted.isAsked, exclusions, found);
    else
        lookAtEntries(relativePath, wanted, exclusions, found);
    return found;
}

// By the rules of the engine, on the item or a folder above it in this one. A folder that lies in an excluded
// place itself was chosen by the user all the same.
bool LocalRoot::isExcludedByRule(const std::string& relativePath) const {
    return !DirSnapshot::isNodeAtFullPathExcluded(path) &&
           DirSnapshot::isNodeAtFullPathExcluded(absolute(relativePath));
}

void LocalRoot::collectDeleted(const Dictionary& comparison, const std::string& relativePath,
                               Differences& found) {
    forEach(comparison, dirsnapshot::DirSnapshotDeletedPathsKey, [&](const Dictionary& item) {
        std::string itemPath = joined(relativePath, textOf(item, dirsnapshot::DirSnapshotNodePathKey));
        if (isText(itemPath)) found.deleted.push_back(std::move(itemPath));
    });
}

void LocalRoot::collect(const Dictionary& comparison, const std::string& relativePath, Differences& found) {
    const auto add = [&](const Dictionary& item) {
        std::string itemPath = joined(relativePath, textOf(item, dirsnapshot::DirSnapshotNodePathKey));
        if (isStaged(itemPath)) return;
        if (!isText(itemPath)) {
            log.error("Left out, its name is not UTF-8: ", absolute(itemPath));
            return;
        }
        const std::string& type = textOf(item, platform::NSFileType);
        if (type == platform::NSFileTypeDirectory)
            found.folders.push_back(std::move(itemPath));
        else if (type == platform::NSFileTypeRegular)
            found.files.push_back(std::move(itemPath));
        else
            log.info("Left out, neither a file nor a folder: ", absolute(itemPath));
    };
    forEach(comparison, dirsnapshot::DirSnapshotAddedPathsKey, add);
    forEach(comparison, dirsnapshot::DirSnapshotModifiedPathsKey, add);
    collectDeleted(comparison, relativePath, found);
}

// A directory with all below it; either what differs, or everything that is there.
void LocalRoot::lookInto(const std::string& relativePath, bool reportsAll, const Exclusions& exclusions,
                         Differences& found) {
    DirSnapshot fresh = scan(relativePath, true);
    isChanged = true;
    std::optional<DirSnapshot> previous;
    if (known.loaded()) previous = known.subDirsnapshotAtPath(relativePath);
    if (!previous) {
        if (relativePath != "/") found.folders.push_back(relativePath);
        previous.emplace(log);
    }
    const Dictionary comparison = *fresh.compareWithSnapshotUsingHashes(&*previous, false, exclusions);
    if (reportsAll) {
        DirSnapshot nothing(log);
        collect(*fresh.compareWithSnapshotUsingHashes(&nothing, true, exclusions), relativePath, found);
        collectDeleted(comparison, relativePath, found);
    } else {
        collect(comparison, relativePath, found);
    }
    if (relativePath == "/") {
        known = std::move(fresh);
        return;
    }
    known.removeItemAtPath(relativePath);
    known.addItemAtPath(relativePath, {{platform::NSFileType, platform::NSFileTypeDirectory}});
    known.addPartial(fresh, relativePath);
}

// A directory's own entries. What lies below one is looked into where the entry is new, or an event named
// it: another folder may have taken its name.
void LocalRoot::lookAtEntries(const std::string& relativePath, const DirectoryToLookAt& wanted,
                              const Exclusions& exclusions, Differences& found) {
    DirSnapshot fresh = scan(relativePath, false);
    DirSnapshot previous = entriesOf(known, relativePath, log);
    Differences own;
    collect(*fresh.compareWithSnapshotUsingHashes(&previous, false, exclusions), "/", own);
    isChanged = true;
    for (const std::string& name : own.deleted) {
        const std::string itemPath = joined(relativePath, name);
        // What has taken its name meanwhile comes as an event, and is compared with what it held.
        if (isGone(absolute(itemPath))) known.removeItemAtPath(itemPath);
        found.deleted.push_back(itemPath);
    }
    std::unordered_set<std::string> seen(own.files.begin(), own.files.end());
    std::unordered_set<std::string> folders(own.folders.begin(), own.folders.end());
    const auto addNamed = [&](const std::string& name, const Dictionary& attributes, bool entersFolders) {
        const std::string itemPath = joined(relativePath, name);
        if (!isText(itemPath) || isStaged(itemPath) || isExcludedByRule(itemPath) ||
            std::find(exclusions.begin(), exclusions.end(), absolute(itemPath)) != exclusions.end())
            return;
        if (isFolder(attributes)) {
            if (entersFolders) folders.insert(name);
        } else if (textOf(attributes, platform::NSFileType) == platform::NSFileTypeRegular &&
                   seen.insert(name).second) {
            own.files.push_back(name);
        }
    };
    for (const std::string& name : wanted.names)
        if (const auto attributes = fresh.attributesOfItemAtPath("/" + name))
            addNamed("/" + name, *attributes, true);
    const auto entries = fresh.contentsOfDirectoryAtPath("/").value_or(platform::Array());
    for (const platform::Value& item : entries) {
        // The comparison goes on into a folder that was a file.
        const std::string& name = textOf(*item.dictionary(), dirsnapshot::DirSnapshotNodePathKey);
        const auto before =
            isFolder(*item.dictionary()) ? previous.attributesOfItemAtPath(name) : std::nullopt;
        if (before && !isFolder(*before)) addNamed(name, *item.dictionary(), true);
    }
    if (wanted.isAsked && wanted.names.empty())
        for (const platform::Value& item : entries)
            addNamed(textOf(*item.dictionary(), dirsnapshot::DirSnapshotNodePathKey), *item.dictionary(),
                     false);
    for (const std::string& name : own.files) {
        const std::string itemPath = joined(relativePath, name);
        known.removeItemAtPath(itemPath); // it may have been something else
        known.addItemAtPath(itemPath, fresh.attributesOfItemAtPath(name).value());
        found.files.push_back(itemPath);
    }
    for (const std::string& name : folders) {
        const std::string itemPath = joined(relativePath, name);
        if (const auto before = known.attributesOfItemAtPath(itemPath); before && !isFolder(*before))
            known.removeItemAtPath(itemPath);
        lookInto(itemPath, false, exclusions, found);
    }
}

void LocalRoot::forget(const std::string& relativePath) {
    if (known.loaded() && relativePath != "/") known.removeItemAtPath(relativePath);
    isChanged = true;
}

void LocalRoot::keep() {
    if (!isChanged || !known.loaded()) return;
    isChanged = false;
    known.writeToFile(keptFile(), "local");
}

void LocalRoot::discard() {
    if (isThere()) std::remove(keptFile().c_str());
    known = DirSnapshot(log);
    isChanged = false;
}

} // namespace sandbox
