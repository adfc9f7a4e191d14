// The sandbox's remote space: a local folder that stands for the storage of a real service.
//
// A remote path is an absolute path string in the space, in plain form: it starts with "/", has no empty,
// "." or ".." component and no trailing separator; "/" is the space itself. Every operation but plainPath
// expects that form. Listings hold real directories only, never links, and hide the space's private folder,
// in which files lie while they are being received.
//
// What it knows lies on the disk: any thread may call it.
#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sandbox {

class Space {
  public:
    // Creates the folder where it is missing and throws away what an earlier run left half received.
    // Raises std::filesystem::filesystem_error when it cannot be written, and when another sandbox has it:
    // a space belongs to one process while that lives.
    explicit Space(const std::filesystem::path& folder);
    ~Space();
    Space(const Space&) = delete;
    Space& operator=(const Space&) = delete;

    // The plain form of a remote path as a message spells it. None for a relative path, for one that
    // climbs with "..", that is no valid UTF-8, or that leads into the private folder.
    static std::optional<std::string> plainPath(std::string_view remotePath);

    // Whether the path is the base or lies beneath it; both plain.
    static bool isWithin(std::string_view remotePath, std::string_view base);

    // Where an item of the space lies on this machine.
    std::filesystem::path localPath(std::string_view remotePath) const;

    // The full remote paths of the folders directly below a folder, by the order of their bytes. Empty
    // when it does not exist.
    std::vector<std::string> directories(std::string_view remotePath) const;
    std::uint64_t countDirectories(std::string_view remotePath) const;

    bool makeDirectory(std::string_view remotePath) const;

    // Whether the space already has a regular file there with that size in bytes and that time of change.
    bool holds(std::string_view remotePath, std::uint64_t size, const timespec& modified) const;

    // The path that a new item gets: itself, or with " (2)", " (3)", … before its extension when taken.
    std::string freePath(std::string_view remotePath) const;

    // The one file in which something is being received; it lies in the space's file system, so that a
    // rename puts it in its place. One file is received at a time.
    std::filesystem::path incomingFile() const { return privateFolder() / "incoming"; }

    const std::filesystem::path& folder() const { return root; }

  private:
    std::filesystem::path privateFolder() const;

    std::filesystem::path root; // canonical
    int ownership = -1;         // the open folder, locked
};

// Whether a path can travel in messages: D-Bus strings and JSON text are UTF-8.
bool isText(std::string_view path);

// The remote path of an entry of a remote folder.
std::string remoteChild(std::string_view folder, std::string_view name);

} // namespace sandbox
