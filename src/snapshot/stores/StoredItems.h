// The order and the paths in which both stores hold a tree: each item, then, when it is a directory, what is
// below it, then its next sibling. The node at the top has no entry of its own.
#pragma once

#include "snapshot/tree/list_private.h"
#include "snapshot/tree/path_utils.h"

#include <cstring>
#include <string_view>

namespace snapshot {

// Store: void enter() is called for each directory that has children, before the first of them;
// void item(std::string_view path, const DSNode& node) for each item. The path is the prefix, "/" and the
// names joined by "/", with a terminating NUL behind it, and valid during the call.
//
// An item whose path would be longer than 1,023 bytes is left out with all that is below it, and one line on
// standard error says so.
template <typename Store>
class StoredItems {
  public:
    explicit StoredItems(Store& store) : _store(store) {}

    void visitBelow(std::string_view prefix, const DSNode* node) {
        if (node == nullptr) return;
        if (prefix.size() >= sizeof _path) {
            reportPathTooLong(prefix);
            return;
        }
        memcpy(_path, prefix.data(), prefix.size());
        visitChildren(node, prefix.size());
    }

  private:
    // Each level makes the path at least one byte longer, so the limit on paths bounds the recursion too.
    void visitChildren(const DSNode* node, size_t prefixLength) {
        uint64_t count = node->children->count;
        if (count == 0) return;
        _store.enter();
        _path[prefixLength] = '/';
        for (uint64_t i = 0; i < count; i++) {
            const DSNode* child = childAt(node, i);
            std::string_view name = nameOf(child);
            size_t length = prefixLength + 1 + name.size();
            if (length >= sizeof _path) {
                reportPathTooLong(name);
                continue;
            }
            memcpy(_path + prefixLength + 1, name.data(), name.size());
            _path[length] = '\0';
            _store.item({_path, length}, *child);
            if (child->type == DSNodeTypeDirectory) visitChildren(child, length);
        }
    }

    Store& _store;
    char _path[DSNodePathCapacity];
};

} // namespace snapshot
