// Small things that several tests of the engine need.
#pragma once

#include "snapshot/DSNode.h"

#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

struct NodeDeleter {
    void operator()(DSNode* node) const { DSNodeDestroy(node); }
};
using Tree = std::unique_ptr<DSNode, NodeDeleter>;

inline Tree makeRoot() { return Tree(DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory)); }

// The same numbers in every run: a seed, then numbers below a bound.
class Random {
  public:
    explicit Random(unsigned seed) : _engine(seed) {}
    unsigned operator()(size_t bound) { return static_cast<unsigned>(_engine() % bound); }

  private:
    std::mt19937 _engine;
};

// Takes over a string that the engine returned; "(none)" for NULL.
inline std::string taken(char* text) {
    std::string copy = text != nullptr ? text : "(none)";
    free(text);
    return copy;
}

inline std::vector<DSNode*> childrenOf(const DSNode* node) {
    std::vector<DSNode*> children;
    for (const DSListNode* link = node->children->head; link != nullptr; link = link->next)
        children.push_back(static_cast<DSNode*>(link->value));
    return children;
}

inline std::vector<std::string> namesOf(const DSNode* node) {
    std::vector<std::string> names;
    for (const DSNode* child : childrenOf(node))
        names.emplace_back(child->name);
    return names;
}
