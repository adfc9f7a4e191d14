#include "snapshot/tree/lookup.h"

#include "snapshot/tree/NameIndex.h"
#include "snapshot/tree/NodeStore.h"
#include "snapshot/tree/list_private.h"
#include "snapshot/tree/name_order.h"
#include "snapshot/tree/path_utils.h"

#include <cstring>

namespace snapshot {

namespace {

// Above this number of children an index pays; below it the search in order is as fast and takes no memory.
constexpr uint64_t kIndexAbove = 24;

} // namespace

DSNode* findChild(const DSNode* parent, std::string_view name) {
    const DSList* children = parent->children;
    if (children->count > kIndexAbove) {
        ListStore* store = storeOf(children);
        if (store->index == nullptr) store->index = new NameIndex(children);
        return store->index->find(name);
    }
    for (uint64_t i = 0; i < children->count; i++)
        if (nameOf(childAt(parent, i)) == name) return childAt(parent, i);
    return nullptr;
}

DSNode* findOrAppendChild(DSNode* parent, std::string_view name, uint8_t type, NodeStore* nodes) {
    const DSList* children = parent->children;
    uint32_t order =
        children->count > 0 ? orderOfNames(nameOf(nodeOf(children->tail)), name) : kListAscending;
    // A name behind the last of ascending names is new.
    bool isNew =
        (order & kListAscending) != 0 && (children->count == 0 || (children->_flags & kListAscending) != 0);
    DSNode* node = isNew ? nullptr : findChild(parent, name);
    if (node == nullptr) {
        node = nodes != nullptr ? nodes->create(name, 0, 0, 0, type) : createNode(name, 0, 0, 0, type);
        appendChild(parent, node, order);
    }
    return node;
}

void forgetName(DSNode* parent) {
    DSList* children = parent->children;
    ListStore* store = storeOf(children);
    if (store == nullptr) return;
    delete store->index;
    store->index = nullptr;
    if (children->count > 1) children->_flags &= ~(kListAscending | kListAscendingSigned);
}

DSNode* _find(const char* path, DSNode* root, int create, uint8_t type) {
    if (root == nullptr || path == nullptr || path[0] != '/') return nullptr;
    std::string_view rest(path);
    if (rest.size() >= DSNodePathCapacity) {
        reportPathTooLong(rest);
        return nullptr;
    }
    if (rest == "/") return root;
    rest.remove_prefix(1);
    if (rest.ends_with('/')) rest.remove_suffix(1);
    DSNode* node = root;
    while (true) {
        size_t slash = rest.find('/');
        bool isLast = slash == std::string_view::npos;
        std::string_view name = rest.substr(0, slash);
        node = create != 0 ? findOrAppendChild(node, name, isLast ? type : uint8_t{DSNodeTypeDirectory})
                           : findChild(node, name);
        if (node == nullptr || isLast) return node;
        rest.remove_prefix(slash + 1);
    }
}

} // namespace snapshot
