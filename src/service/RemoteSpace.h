// A storage as the service sees it, whatever stands behind: a folder, an SFTP server, a cloud.
//
// Paths are relative to the space, components joined by "/", UTF-8; "" is the space itself. A storage is not
// trusted to decide anything: none of its operations compares, and after each change the caller looks at
// what came of it. Nothing is ever brought to a destination that may exist. What is half done when an
// operation fails or is cancelled lies under the destination's name, which is therefore a private one.
//
// Operations start at once and end by themselves within their deadlines. Any thread may start them.
#pragma once

#include "service/Pending.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace service {

struct RemoteItem {
    enum class Kind : std::uint8_t {
        file,
        folder,
        sizeless
    }; // sizeless: a document without bytes of its own
    std::string name;
    Kind kind = Kind::file;
    std::uint64_t size = 0;                     // bytes
    std::int64_t modified = 0;                  // nanoseconds since 1970, as the storage tells it
    std::string id;                             // the storage's own, when it has one
    std::map<std::string, std::string> digests; // by the algorithm's name as "sha1", "md5"; hexadecimal
    friend bool operator==(const RemoteItem&, const RemoteItem&) = default;
};

// What the storage can do.
struct Features {
    bool move = false;       // files, by the storage itself
    bool moveFolder = false; // in one piece
    bool publicLink = false;
    bool quota = false;
    bool emptyFolders = true;
    bool foldsCase = false;
    bool listsRecursively = false; // a whole tree by one request
    bool bucket = false;           // puts a file whole or not at all
    std::int64_t precision = 1;    // of times of change, nanoseconds
    bool setsTimes = true;
    std::vector<std::string> digests; // names of algorithms
    bool slowDigests = false;         // a digest costs as much as reading the file
};

// Bytes, as far as the storage tells them.
struct Quota {
    std::optional<std::uint64_t> total;
    std::optional<std::uint64_t> used;
    std::optional<std::uint64_t> free;
};

// A file on this machine under the name that it gets there.
struct Upload {
    std::string file; // absolute path, bytes; "": a folder
    std::string name; // a path, each folder of which comes before what is in it
};

class RemoteSpace {
  public:
    virtual ~RemoteSpace() = default;

    virtual Pending<Features> features() = 0;

    // The items directly in a folder, in the order in which the storage tells them; a name may be told twice.
    // With digests only where they cost nothing, unless they are asked for.
    virtual Pending<std::vector<RemoteItem>> list(const std::string& folder, bool withDigests = false) = 0;
    // The item itself; none when it is not there. The storage may list the whole folder for it.
    virtual Pending<std::optional<RemoteItem>> look(const std::string& path, bool withDigests = false) = 0;

    virtual Pending<Done> bringUp(const std::string& file, const std::string& path) = 0;
    // Many files into one new folder, faster than one by one. Some may have arrived when it fails: the folder
    // tells which.
    virtual Pending<Done> bringUpAll(const std::vector<Upload>& files, const std::string& folder) = 0;
    // Into a file of this machine, which is made or overwritten; its folder is there. `size` is what the
    // storage said, in bytes: the deadline follows from it.
    virtual Pending<Done> bringDown(const std::string& path, const std::string& file, std::uint64_t size) = 0;

    // Folders of these names in a folder of the space, each with all that is in it, into a new folder of this
    // machine. Some may have arrived when it fails.
    virtual Pending<Done> bringDownAll(const std::string& folder, const std::vector<std::string>& names,
                                       const std::string& place) = 0;

    // A name that somebody has stays his, as far as the storage can tell: then the item lies where it was,
    // and that is no failure. A folder goes on into one that is there, but for the names that are taken in
    // it. `remote_move.h` tells what came of it.
    virtual Pending<Done> moveFile(const std::string& path, const std::string& to) = 0;
    virtual Pending<Done> moveFolder(const std::string& path, const std::string& to) = 0;
    // With the folders above it. Also when it is there already.
    virtual Pending<Done> makeFolder(const std::string& path) = 0;
    virtual Pending<Done> removeFile(const std::string& path) = 0;
    // An empty one; or with all that is in it.
    virtual Pending<Done> removeFolder(const std::string& path) = 0;
    virtual Pending<Done> removeTree(const std::string& path) = 0;

    virtual Pending<std::string> publicLink(const std::string& path) = 0;
    virtual Pending<Quota> quota() = 0;
};

} // namespace service
