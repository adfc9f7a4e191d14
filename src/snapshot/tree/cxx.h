// What C++ callers of the C functions need each time: owners of what is returned, and the child at a
// position.
#pragma once

#include "snapshot/DSNode.h"
#include "snapshot/DSQuickLook.h"

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace snapshot {

struct DestroyTree {
    void operator()(DSNode* root) const { DSNodeDestroy(root); }
};
using Tree = std::unique_ptr<DSNode, DestroyTree>;

inline Tree emptyTree() { return Tree(DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory)); }

struct DestroyEvidence {
    void operator()(DSEvidence* evidence) const { DSEvidenceDestroy(evidence); }
};
using Evidence = std::unique_ptr<DSEvidence, DestroyEvidence>;

struct FreeText {
    void operator()(char* text) const { std::free(text); }
};
using Text = std::unique_ptr<char, FreeText>;

// One result array of a comparison; `paths` and `count` are what the comparison fills.
struct ComparedPaths {
    char** paths = nullptr;
    std::uint64_t count = 0;

    ComparedPaths() = default;
    ComparedPaths(const ComparedPaths&) = delete;
    ComparedPaths& operator=(const ComparedPaths&) = delete;
    ~ComparedPaths() {
        for (char* path : *this)
            std::free(path);
        std::free(paths);
    }
    char** begin() const { return paths; }
    char** end() const { return paths + count; }
};

// The child at a position, which must be below the count.
inline DSNode* childAt(const DSNode* parent, std::uint64_t position) {
    return static_cast<DSNode*>(parent->children->items[position]->value);
}

} // namespace snapshot
