// The same selections for every host: the class of each, of which alone its menu comes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace hosts_test {

struct SelectionCase {
    const char* expected; // the class
    bool isDirectory;     // the first item
    std::vector<std::string> uris;
};

inline const std::vector<SelectionCase> selectionCases{
    {"sync-root", true, {"file:///root"}},
    {"synced-folder", true, {"file:///root/a"}},
    {"synced-file", false, {"file:///root/a"}},
    {"sync-roots", true, {"file:///root", "file:///root2"}},
    {"nothing", false, {"file:///root/a", "file:///x"}},
    {"unsynced-folder", true, {"file:///x"}},
    {"unsynced-items", true, {"file:///x", "file:///y"}},
    {"unsynced-items", false, {"file:///x", "sftp://host/y"}},
    {"nothing", false, {"sftp://host/y"}},
    {"nothing", false, {"sftp://host/y", "file:///x"}},
};

// What the extension says of those items.
inline bool isInSync(std::string_view uri) { return uri.starts_with("file:///root"); }
inline bool isRoot(std::string_view uri) { return uri == "file:///root" || uri == "file:///root2"; }
inline bool isLocal(std::string_view uri) { return uri.starts_with("file:///"); }

} // namespace hosts_test
