// Building a tree from a sequence of paths, as the loaders do.
#pragma once

#include "snapshot/DSNode.h"
#include "snapshot/tree/NodeStore.h"

#include <string_view>
#include <vector>

namespace snapshot {

// Gives for each path what _find(path, root, 1, type) would give, and remembers where the last path led: in a
// sequence that lists a directory's items one after the other a step costs the length of its own name, and a
// million records are linear in total, even with 100,000 siblings in one directory.
//
//     TreeBuilder builder(root);
//     for (each record) {
//         DSNode* node = builder.findOrCreate(path, type);
//         if (node == nullptr) …           // not absolute, longer than 1,023 bytes, or with a NUL byte
//         node->size = …;
//     }
//
// The root stays the caller's. Between two calls the tree may only be changed through the builder, except for
// sizes, kinds and times.
class TreeBuilder {
  public:
    explicit TreeBuilder(DSNode* root);

    // Any order of paths is allowed; "/" gives the root. A path that is too long is reported on standard
    // error.
    DSNode* findOrCreate(std::string_view path, uint8_t type);

  private:
    struct Step {
        size_t end; // where this node's path ends in _path
        DSNode* node;
    };

    NodeStore _nodes;
    DSNode* _root;
    std::vector<Step> _steps;       // the nodes on the way to the last path, from the first below the root
    size_t _length = 0;             // of the last path, without a trailing "/"
    char _path[DSNodePathCapacity]; // the last path
};

} // namespace snapshot
