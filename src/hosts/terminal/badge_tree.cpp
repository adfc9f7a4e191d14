#include "hosts/terminal/badge_tree.h"

#include <sys/stat.h>

#include <algorithm>
#include <dirent.h>
#include <string_view>

namespace hosts::terminal {
namespace {

bool isDirectory(const std::string& path) {
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Calls visit(name) until it answers false.
template <typename Visit>
void forEachName(const std::string& path, Visit&& visit) {
    DIR* const directory = ::opendir(path.c_str());
    if (directory == nullptr) return;
    while (const dirent* entry = ::readdir(directory)) {
        const std::string_view name(entry->d_name);
        if (name != "." && name != ".." && !visit(name)) break;
    }
    ::closedir(directory);
}

std::string_view lastComponent(std::string_view path) {
    return path.size() > 1 ? path.substr(path.rfind('/') + 1) : path;
}

// What stands before a name, in either character set.
struct Branches {
    const char* item;
    const char* lastItem;
    const char* line;
    const char* cut;
};
constexpr Branches unicodeBranches{"├── ", "└── ", "│   ", "/…"};
constexpr Branches asciiBranches{"|-- ", "`-- ", "|   ", "/..."};

class Drawing {
  public:
    Drawing(const BadgeLooks& badgeLooks, const DrawingStyle& drawingStyle)
        : looks(badgeLooks), style(drawingStyle),
          branches(drawingStyle.isUnicode ? unicodeBranches : asciiBranches) {}

    void add(const TreeNode& node, std::string_view name, const std::string& branch,
             const std::string& indent) {
        text += branch + printableName(std::string(name));
        if (node.isCut) text += branches.cut;
        const std::string badge = drawBadge(node.badge, looks, style);
        if (!badge.empty()) text += "  " + badge;
        text += '\n';
        for (const TreeNode& child : node.children) {
            const bool isLast = &child == &node.children.back();
            add(child, lastComponent(child.path), indent + (isLast ? branches.lastItem : branches.item),
                indent + (isLast ? "    " : branches.line));
        }
    }

    std::string text;

  private:
    const BadgeLooks& looks;
    const DrawingStyle& style;
    const Branches& branches;
};

} // namespace

TreeNode readTree(const std::string& path, unsigned depth) {
    TreeNode node{path, {}, isDirectory(path), false, {}};
    if (!node.isDirectory) return node;
    std::vector<std::string> names;
    forEachName(path, [&](std::string_view name) {
        node.isCut = depth == 0;
        if (depth > 0) names.emplace_back(name);
        return depth > 0;
    });
    std::sort(names.begin(), names.end());
    node.children.reserve(names.size());
    for (const std::string& name : names)
        node.children.push_back(readTree((path == "/" ? "" : path) + "/" + name, depth - 1));
    return node;
}

std::string drawTree(const TreeNode& root, const BadgeLooks& looks, const DrawingStyle& style) {
    Drawing drawing(looks, style);
    drawing.add(root, root.path, "", "");
    return drawing.text;
}

} // namespace hosts::terminal
