// Placing the items of a store in a tree as they are read.
#pragma once

#include "snapshot/lookup.h"
#include "snapshot/tree_builder.h"

#include <cstring>
#include <string>
#include <string_view>

namespace snapshot {

// Gives what TreeBuilder gives. Most items follow a sibling: for those the directory's path is compared as a
// whole, without finding the way from the root.
class LoadedItems {
  public:
    explicit LoadedItems(DSNode* root) : _builder(root) {}

    DSNode* findOrCreate(std::string_view path, uint8_t type) {
        if (path.empty()) return nullptr;
        const void* last = memrchr(path.data(), '/', path.size());
        size_t slash =
            last != nullptr ? static_cast<size_t>(static_cast<const char*>(last) - path.data()) : 0;
        if (_parent != nullptr && path[slash] == '/' && slash + 1 < path.size() &&
            path.size() < DSNodePathCapacity && path.substr(0, slash) == _directory &&
            memchr(path.data() + slash, '\0', path.size() - slash) == nullptr)
            return findOrAppendChild(_parent, path.substr(slash + 1), type);
        DSNode* node = _builder.findOrCreate(path, type);
        // Without a name behind the last "/" the directory is not what stands before it.
        _parent = node != nullptr && slash + 1 < path.size() ? node->parent : nullptr;
        if (_parent != nullptr) _directory.assign(path, 0, slash);
        return node;
    }

  private:
    TreeBuilder _builder;
    DSNode* _parent = nullptr; // of the last item, or none
    std::string _directory;    // its path; "" for the root
};

} // namespace snapshot
