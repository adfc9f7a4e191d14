// Path utilities and lookup. Input: paths, one a line. The loaders' builder, the plain lookup and a map from
// path to node must agree, and so must the utilities with what they are documented to be in terms of another.
#include "fuzz/require.h"
#include "snapshot/tree/TreeBuilder.h"
#include "snapshot/tree/lookup.h"
#include "snapshot/tree/path_utils.h"

#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace {

void requireSame(const DSNode* a, const DSNode* b) {
    require(strcmp(a->name, b->name) == 0 && a->type == b->type && a->size == b->size);
    require(a->children->count == b->children->count);
    for (uint64_t i = 0; i < a->children->count; i++)
        requireSame(static_cast<const DSNode*>(a->children->items[i]->value),
                    static_cast<const DSNode*>(b->children->items[i]->value));
}

// Paths of the same item are the same text without it. ("//" is the item with the empty name, "/" the root.)
std::string withoutTrailingSlash(const std::string& path) {
    return path.ends_with('/') ? path.substr(0, path.size() - 1) : path;
}

void checkLookup(const std::vector<std::string>& paths) {
    DSNode* built = DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory);
    DSNode* found = DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory);
    snapshot::TreeBuilder builder(built);
    std::map<std::string, DSNode*> nodes;
    for (size_t i = 0; i < paths.size(); i++) {
        auto type = static_cast<uint8_t>(1 + i % 3);
        DSNode* node = builder.findOrCreate(paths[i], type);
        DSNode* other = snapshot::_find(paths[i].c_str(), found, 1, type);
        require((node == nullptr) == (other == nullptr));
        if (node == nullptr) continue;
        node->size = other->size = static_cast<int64_t>(i);
        auto [entry, isNew] = nodes.try_emplace(withoutTrailingSlash(paths[i]), node);
        require(isNew || entry->second == node);
    }
    for (const std::string& path : paths) {
        const DSNode* node = DSNodeFindWithFullPath(path.c_str(), built);
        if (!path.starts_with('/') || path.size() >= DSNodePathCapacity) {
            require(node == nullptr);
            continue;
        }
        auto entry = nodes.find(withoutTrailingSlash(path));
        require(entry != nodes.end() && entry->second == node);
    }
    requireSame(built, found);
    DSNode* copy = DSNodeCopy(built);
    requireSame(copy, built);
    DSNodeDestroy(copy);
    DSNodeDestroy(found);
    DSNodeDestroy(built);
}

void checkUtilities(const std::string& first, const std::string& second) {
    const char* a = first.c_str();
    const char* b = second.c_str();
    DSList* components = snapshot::pathComponentsList(a);
    if (components != nullptr) {
        require(components->count == snapshot::pathComponents(a));
        char* joined = snapshot::pathFromPathComponentsList(components);
        // An empty last component becomes a trailing "/", which is none.
        bool endsInName = components->count > 0 && *static_cast<char*>(components->tail->value) != '\0';
        if (endsInName && snapshot::isAbsolutePath(a)) require(snapshot::isEqualToPath(joined, a));
        free(joined);
        DSListDestroy(components);
    }
    free(snapshot::pathByAppendingPathComponent(a, b));
    bool equal = snapshot::isEqualToPath(a, b);
    require(equal == snapshot::isEqualToPath(b, a));
    bool child = snapshot::isChildOfPath(a, b);
    require(!child || (!equal && snapshot::_isChildOfPath(a, b)));
    int unrelated = snapshot::isPathUnrelated(a, b);
    require((unrelated == -1) == (!snapshot::isAbsolutePath(a) || !snapshot::isAbsolutePath(b)));
    require(!child || unrelated == 0 || snapshot::pathComponents(a) > snapshot::pathComponents(b));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> paths(1);
    for (size_t i = 0; i < size; i++) {
        auto byte = static_cast<char>(data[i]);
        if (byte == '\n')
            paths.emplace_back();
        else if (byte != '\0')
            paths.back() += byte;
    }
    checkLookup(paths);
    for (size_t i = 0; i + 1 < paths.size(); i++)
        checkUtilities(paths[i], paths[i + 1]);
    return 0;
}
