#include "snapshot/DSNode.h"

#include "snapshot/tree/DigestStore.h"
#include "snapshot/tree/NodeStore.h"
#include "snapshot/tree/allocation.h"
#include "snapshot/tree/list_private.h"
#include "snapshot/tree/lookup.h"
#include "snapshot/tree/path_utils.h"

#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

namespace snapshot {

namespace {

// A children list outlives neither its node nor the values in it, so what is below is released from a list of
// what is left to do, and the depth of the tree uses no stack.
void destroySubtree(DSNode* root) {
    std::vector<DSNode*> left{root};
    while (!left.empty()) {
        DSNode* node = left.back();
        left.pop_back();
        for (uint64_t i = 0; i < node->children->count; i++)
            left.push_back(childAt(node, i));
        releaseLinks(node->children);
        if (node->name != nameInside(node)) free(node->name);
        DigestStore::release(node);
        NodeStore::release(node);
    }
}

DSNode* copyAlone(NodeStore& nodes, const DSNode* node) {
    DSNode* copy = nodes.create(nameOf(node), node->size, node->modifiedTime, node->startedTime, node->type);
    if (node->hash != nullptr) {
        copy->hash = static_cast<uint8_t*>(allocate(DSNodeHashLength));
        memcpy(copy->hash, node->hash, DSNodeHashLength);
    }
    return copy;
}

} // namespace

} // namespace snapshot

using namespace snapshot;

DSNode* DSNodeCreate(const char* name, int64_t size, int64_t modifiedTime, int64_t startedTime,
                     uint8_t type) noexcept {
    return createNode(name != nullptr ? name : "", size, modifiedTime, startedTime, type);
}

DSNode* DSNodeCreateWithParent(DSNode* parent, const char* name, int64_t size, int64_t modifiedTime,
                               int64_t startedTime, uint8_t type) noexcept {
    DSNode* node = DSNodeCreate(name, size, modifiedTime, startedTime, type);
    if (parent != nullptr) DSNodeAppendChild(node, parent);
    return node;
}

void DSNodeAppendChild(DSNode* node, DSNode* parent) noexcept {
    node->parent = parent;
    DSListAppendValue(parent->children, node);
}

void DSNodeSetName(DSNode* node, const char* name) noexcept {
    std::string_view text = name != nullptr ? name : "";
    if (node->parent != nullptr) forgetName(node->parent);
    if (text.size() <= node->_nameLength) {
        memmove(node->name, text.data(), text.size());
        node->name[text.size()] = '\0';
    } else {
        char* copy = duplicate(text);
        if (node->name != nameInside(node)) free(node->name);
        node->name = copy;
    }
    node->_nameLength = static_cast<uint32_t>(text.size());
}

void DSNodeDestroy(DSNode* node) noexcept {
    if (node == nullptr) return;
    if (node->parent != nullptr) DSListRemoveValue(node->parent->children, node);
    destroySubtree(node);
}

uint32_t DSNodeGetDepth(const DSNode* node) noexcept {
    uint32_t depth = 0;
    for (; node->parent != nullptr; node = node->parent)
        depth++;
    return depth;
}

char* DSNodeCreateStringWithFullPath(const DSNode* node) noexcept {
    return DSNodeCreateStringWithFullPathAndBasePath(node, "");
}

char* DSNodeCreateStringWithFullPathAndBasePath(const DSNode* node, const char* base) noexcept {
    std::string_view start = base != nullptr ? base : "";
    if (start.ends_with('/')) start.remove_suffix(1);
    // Every name below the root takes its length and a "/"; the root alone takes the "/".
    size_t length = start.size() + (node->parent == nullptr ? 1 : 0);
    for (const DSNode* step = node; step->parent != nullptr; step = step->parent)
        length += 1 + step->_nameLength;
    if (length >= DSNodePathCapacity) {
        reportPathTooLong(nameOf(node));
        return nullptr;
    }
    char* path = static_cast<char*>(calloc(1, DSNodePathCapacity));
    if (path == nullptr) endForLackOfMemory();
    char* end = path + length;
    for (const DSNode* step = node; step->parent != nullptr; step = step->parent) {
        end -= step->_nameLength;
        memcpy(end, step->name, step->_nameLength);
        *--end = '/';
    }
    memcpy(path, start.data(), start.size());
    path[start.size()] = '/';
    return path;
}

DSNode* DSNodeFindWithFullPath(const char* path, DSNode* root) noexcept { return _find(path, root, 0, 0); }

DSNode* DSNodeCopy(const DSNode* node) noexcept {
    if (node == nullptr) return nullptr;
    NodeStore nodes;
    DSNode* top = copyAlone(nodes, node);
    std::vector<std::pair<const DSNode*, DSNode*>> left{{node, top}};
    while (!left.empty()) {
        auto [from, to] = left.back();
        left.pop_back();
        reserve(to->children, from->children->count);
        for (uint64_t i = 0; i < from->children->count; i++) {
            const DSNode* child = childAt(from, i);
            DSNode* copy = copyAlone(nodes, child);
            DSNodeAppendChild(copy, to);
            if (child->children->count > 0) left.emplace_back(child, copy);
        }
    }
    return top;
}

int64_t DSNodeTotalSize(const DSNode* node) noexcept {
    uint64_t total = 0; // unsigned: a sum beyond the range wraps instead of being undefined
    std::vector<const DSNode*> left{node};
    while (!left.empty()) {
        const DSNode* at = left.back();
        left.pop_back();
        if (at->type == DSNodeTypeFile) total += static_cast<uint64_t>(at->size);
        if (at->type != DSNodeTypeDirectory) continue;
        for (uint64_t i = 0; i < at->children->count; i++)
            left.push_back(childAt(at, i));
    }
    return static_cast<int64_t>(total);
}
