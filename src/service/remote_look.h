// Everything in one folder of a storage, by listing folder by folder, several at once.
#pragma once

#include "service/RemoteSpace.h"
#include "service/plan.h"

#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace service {

struct RemoteEntry {
    std::string key;  // in the form in which both sides meet, relative to the folder
    std::string path; // as the storage writes it, relative to the folder
    Shape shape =
        Shape::file; // unknown: a document without bytes, a name told twice, one that nobody can hold
    RemoteItem item;
    std::string reason; // of an unknown one, for a person
};

// At most this many lists at the same time, as many as rclone itself asks for.
inline constexpr std::size_t listsAtOnce = 8;

struct RemoteLookOptions {
    bool foldsCase = false;
    // By key, whether a folder had items: its list is then believed to be empty only when the folder itself
    // is looked at and is still one. Some storages list a file as an empty folder.
    std::function<bool(const std::string& key)> hadItems;
    // By key: left out with all below it.
    std::function<bool(const std::string& key)> isLeftOut;
};

// What a list of the folder of that key and path says of each of its items.
std::vector<RemoteEntry> entriesOf(std::vector<RemoteItem> list, const std::string& key,
                                   const std::string& path, const RemoteLookOptions& options);
// Whether a folder of the space that was listed empty is a folder at all; none: it is.
std::optional<Failure> confirmEmptyFolder(RemoteSpace& space, const std::string& path,
                                          const std::stop_token& stop);

// In no particular order but a folder before what is in it. Any list that fails makes the whole a failure:
// half a look would look like deletions.
Outcome<std::vector<RemoteEntry>> lookAtSpace(RemoteSpace& space, const std::string& folder,
                                              const RemoteLookOptions& options, const std::stop_token& stop);

} // namespace service
