// A snapshot built item by item, and a tree as text.
#pragma once

#include "dirsnapshot/DirSnapshot.h"
#include "platform/FileAttributes.h"
#include "tests/support/fakes.h"

namespace dirsnapshot {

inline platform::Dictionary fileInfo(const char* type, std::int64_t size, std::int64_t modified) {
    return {{platform::NSFileType, type},
            {platform::NSFileSize, size},
            {platform::NSFileModificationDate, modified}};
}
inline platform::Dictionary file(std::int64_t size, std::int64_t modified = 1) {
    return fileInfo(platform::NSFileTypeRegular, size, modified);
}
inline platform::Dictionary directory() { return fileInfo(platform::NSFileTypeDirectory, 0, 1); }

inline DirSnapshot emptySnapshot(platform::ProcessLog& log) {
    DirSnapshot snapshot(log);
    (void)snapshot.setRoot(Tree(DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory)));
    return snapshot;
}

// The paths of the directories that an item lies in, from the top, without the root.
inline std::vector<std::string> above(const std::string& path) {
    std::vector<std::string> paths;
    for (std::size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1))
        paths.push_back(path.substr(0, at));
    return paths;
}

inline void list(const DSNode* node, const std::string& path, std::vector<std::string>& lines) {
    for (std::uint64_t i = 0; i < node->children->count; ++i) {
        const auto* child = static_cast<const DSNode*>(node->children->items[i]->value);
        const std::string below = path + "/" + child->name;
        lines.push_back(below + (child->type == DSNodeTypeDirectory ? "/" : "") + " " +
                        std::to_string(child->size));
        list(child, below, lines);
    }
}
inline std::vector<std::string> listing(const DirSnapshot& snapshot) {
    std::vector<std::string> lines;
    if (const DSNode* root = snapshot.nodeAtFullpath("/")) list(root, "", lines);
    return lines;
}

} // namespace dirsnapshot
