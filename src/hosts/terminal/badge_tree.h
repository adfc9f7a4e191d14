// A tree of files with their badges, drawn as lines of text.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace hosts::terminal {

// One item of the tree, with what is below it in the order of drawing.
struct TreeNode {
    std::string path;  // absolute
    std::string badge; // as the extension answers
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

struct DrawingStyle {
    bool hasColors = false;
};

// The lines of the tree: branches, name, a mark and the badge's label. `labels` is by identifier. Control
// bytes of a name are shown as "?", so that a name cannot write to the terminal.
std::string drawTree(const TreeNode& root, const std::map<std::string, std::string>& labels,
                     const DrawingStyle& style);

// The mark and label of one badge, without the tree.
std::string drawBadge(const std::string& badge, const std::map<std::string, std::string>& labels,
                      const DrawingStyle& style);

std::string printableName(const std::string& name);

} // namespace hosts::terminal
