// Finding nodes by name and by path. The first child in list order wins. Small directories are searched in
// order; a large one gets an index of its names on the first lookup, which every later change keeps right.
#pragma once

#include "snapshot/DSNode.h"

#include <string_view>

namespace snapshot {

class NodeStore;

// The first child with this name, or NULL.
DSNode* findChild(const DSNode* parent, std::string_view name);

// The first child with this name, or a new one of this kind, with size and times 0, at the end of the
// children, from the store when there is one.
DSNode* findOrAppendChild(DSNode* parent, std::string_view name, uint8_t type, NodeStore* nodes = nullptr);

// To be called before a child's name changes.
void forgetName(DSNode* parent);

// The node at an absolute path below the root. "/" is the root; otherwise the leading "/" and one trailing
// "/" are dropped and each remaining component is looked up in turn.
//
// When `create` is not 0, a missing node is appended to its parent: of kind `type` for the last component, a
// directory otherwise, with size and times 0. A node that exists keeps its kind.
//
// NULL when the root is NULL, the path does not begin with "/", is longer than 1,023 bytes (with a line on
// standard error), or has no node and none is to be created.
DSNode* _find(const char* path, DSNode* root, int create, uint8_t type);

} // namespace snapshot
