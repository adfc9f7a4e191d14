// What the sources of pairs and of single items share about paths and records. Private to this folder.
#pragma once

#include "service/PairStore.h"

#include <string>

namespace service {

inline std::string parentOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}
inline std::string lastOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }
inline std::string joined(const std::string& folder, const std::string& name) {
    return folder.empty() ? name : folder + "/" + name;
}

// Whether one path is the other, or lies in it.
inline bool overlap(const std::string& one, const std::string& other) {
    return sync_daemon::isAtOrBelow(one, other) || sync_daemon::isAtOrBelow(other, one);
}

inline Failure changed(const std::string& path) {
    return {Trouble::missing, path + " has changed meanwhile"};
}

// For a folder only what identifies it: the rest changes with what is in it.
inline RemoteRecord recordOf(const RemoteItem& item) {
    if (item.kind == RemoteItem::Kind::folder) return {0, 0, item.id, {}};
    const auto digest = item.digests.begin(); // of several the first by name: the same one each time
    return {item.size, item.modified, item.id,
            digest == item.digests.end() ? std::string() : digest->first + ":" + digest->second};
}
inline LocalRecord folderRecord(const LocalRecord& record) { return {0, 0, 0, record.inode, record.born}; }

} // namespace service
