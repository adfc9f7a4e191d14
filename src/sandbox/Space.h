// The sandbox's remote space: a local folder that stands for the storage of a real service.
//
// A remote path is a path of the space's tree, in plain form (sync_daemon/paths.h). Every operation but
// plainPath expects that form; one in another form has no item, and nothing is made or changed for it. Items
// are real files and folders, never links, and the space's private folder is hidden: in it lie what is being
// received and the trash.
//
// No operation follows a link below the space's folder, so that nothing outside is read or changed through
// one. Each looks before it acts; whoever plants links while it acts already has the user's rights.
//
// What it knows lies on the disk: any thread may call it.
#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sandbox {

enum class ItemKind { missing, file, folder, other }; // a link is "other"

class Space {
  public:
    // Creates the folder where it is missing and throws away what an earlier run left half received.
    // Raises std::filesystem::filesystem_error when it cannot be written, and when another sandbox has it:
    // a space belongs to one process while that lives.
    explicit Space(const std::filesystem::path& folder);
    ~Space();
    Space(const Space&) = delete;
    Space& operator=(const Space&) = delete;

    // The plain form of a remote path as a message spells it. None for a relative path, for one that climbs
    // with "..", that is not valid UTF-8, or that leads into the private folder.
    static std::optional<std::string> plainPath(std::string_view remotePath);

    // Where an item of the space lies, or would lie, on this machine. None in the private folder, and when
    // something above it is not a real folder: a link could lead out of the space.
    std::optional<std::filesystem::path> localPath(std::string_view remotePath) const;

    ItemKind kind(std::string_view remotePath) const;

    // The full remote paths of the folders directly below a folder, by the order of their bytes. Empty
    // when it does not exist.
    std::vector<std::string> directories(std::string_view remotePath) const;

    // Makes a folder and those above it.
    bool makeDirectory(std::string_view remotePath) const;

    // Whether the space already has a regular file there with that size in bytes and that time of change.
    bool holds(std::string_view remotePath, std::uint64_t size, const timespec& modified) const;
    // Whether it has a regular file there that was changed later.
    bool isNewer(std::string_view remotePath, const timespec& modified) const;

    // The path that a new item gets: itself, or with " (2)", " (3)", … before its extension when taken. None
    // when something above it is not a real folder.
    std::optional<std::string> freePath(std::string_view remotePath) const;

    // ---- Changes. Each says false, and has changed nothing, when there is no such item or its new place
    // cannot be had. "/" is never changed.

    // Renames or moves an item. What is at the new path stays: false then. Folders above it are made.
    bool rename(std::string_view remotePath, std::string_view newPath) const;

    // Removes an item for good, or lays it into the trash, from where `restore` brings back the last one of
    // that path, even one that went with a folder above it. A taken path gets a free name. The result of
    // restore is the path that the item has now.
    bool remove(std::string_view remotePath) const;
    bool trash(std::string_view remotePath) const;
    // A file stays and is in the trash too, so that what takes its place loses nothing.
    bool keepInTrash(std::string_view remotePath) const;
    std::optional<std::string> restore(std::string_view remotePath) const;

    // The one file in which something is being received; it lies in the space's file system, so that a
    // rename puts it in its place. One file is received at a time.
    std::filesystem::path incomingFile() const { return privateFolder() / "incoming"; }

    const std::filesystem::path& folder() const { return root; }
    std::filesystem::path privateFolder() const;

  private:
    std::optional<std::filesystem::path> existing(std::string_view remotePath) const;
    std::optional<std::filesystem::path> placeInTrash(std::string_view remotePath) const;

    std::filesystem::path root; // canonical
    int ownership = -1;         // the open folder, locked
    mutable std::atomic<std::uint64_t> lastTrashed = 0;
};

} // namespace sandbox
