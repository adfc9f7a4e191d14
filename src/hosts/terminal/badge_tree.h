// A tree of files with their badges, drawn as lines of text.
#pragma once

#include "hosts/terminal/drawing.h"

#include <string>
#include <vector>

namespace hosts::terminal {

// One item of the tree, with what is below it in the order of drawing.
struct TreeNode {
    std::string path;  // absolute
    std::string badge; // as the extension answers
    bool isDirectory = false;
    bool isCut = false; // a folder that holds items, which are below the depth that was asked for
    std::vector<TreeNode> children;
};

// The items below the path down to that depth (0: the item alone), in byte order of their names. Links are
// not followed. What cannot be read has no items.
TreeNode readTree(const std::string& path, unsigned depth);

// Calls visit(TreeNode&) for each node in the order of drawing.
template <typename Node, typename Visit>
void forEachNode(Node& node, Visit&& visit) {
    visit(node);
    for (auto& child : node.children)
        forEachNode(child, visit);
}

// The lines of the tree: branches, name, and the badge; "/…" behind the name of a folder that
// is cut.
std::string drawTree(const TreeNode& root, const BadgeLooks& looks, const DrawingStyle& style);

} // namespace hosts::terminal
