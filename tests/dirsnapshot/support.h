// A snapshot built item by item, and a tree as text.
#pragma once

#include "dirsnapshot/DirSnapshot.h"
#include "platform/file_attributes.h"
#include "tests/snapshot/support.h"
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

// "/directory/" and "/file size", in the order of the tree.
inline std::vector<std::string> listing(const DirSnapshot& snapshot) {
    std::vector<std::string> lines;
    if (const DSNode* root = snapshot.nodeAtFullpath("/"))
        for (const auto& [path, node] : itemsBelow(root))
            lines.push_back(path +
                            (node->type == DSNodeTypeDirectory ? "/" : " " + std::to_string(node->size)));
    return lines;
}

} // namespace dirsnapshot
