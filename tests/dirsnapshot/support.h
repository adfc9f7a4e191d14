// A snapshot built item by item, and a tree as text.
#pragma once

#include "dirsnapshot/DirSnapshot.h"
#include "platform/file_attributes.h"
#include "tests/snapshot/support.h"
#include "tests/support/fakes.h"

#include <algorithm>

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

inline bool isFile(const DirSnapshot& snapshot, const std::string& path) {
    const DSNode* node = snapshot.nodeAtFullpath(path);
    return node != nullptr && node->type == DSNodeTypeFile;
}
inline bool isBelowAFile(const DirSnapshot& snapshot, const std::string& path) {
    return std::ranges::any_of(above(path), [&](const auto& each) { return isFile(snapshot, each); });
}

// "/directory/" and "/file size", in the order of the tree.
inline std::vector<std::string> listing(const DirSnapshot& snapshot) {
    std::vector<std::string> lines;
    if (const DSNode* root = snapshot.nodeAtFullpath("/"))
        for (const auto& [path, node] : itemsBelow(root))
            lines.push_back(path +
                            (node->type == DSNodeTypeDirectory ? "/" : " " + std::to_string(node->size)));
    return lines;
}

// Path to size; a directory has the size -1. No path is repeated.
using Sizes = std::map<std::string, std::int64_t>;
inline Sizes sizesOf(const DirSnapshot& snapshot) {
    Sizes sizes;
    for (const auto& [path, node] : itemsBelow(snapshot.nodeAtFullpath("/")))
        EXPECT_TRUE(sizes.emplace(path, node->type == DSNodeTypeDirectory ? -1 : node->size).second);
    return sizes;
}

} // namespace dirsnapshot
