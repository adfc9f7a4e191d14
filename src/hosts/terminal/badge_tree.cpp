#include "hosts/terminal/badge_tree.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <dirent.h>
#include <string_view>

namespace hosts::terminal {
namespace {

struct Mark {
    std::string_view badge;
    std::string_view sign;   // told apart by its shape, not by colour alone
    std::string_view colour; // SGR parameter
};

constexpr std::array marks{Mark{"tovik", "◆", "34"}, Mark{"sync", "✔", "32"}, Mark{"upload", "▲", "33"},
                           Mark{"update", "↻", "36"}, Mark{"error", "✖", "31"}};

bool isDirectory(const std::string& path) {
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::vector<std::string> sortedNames(const std::string& path) {
    std::vector<std::string> names;
    DIR* const directory = ::opendir(path.c_str());
    if (directory == nullptr) return names;
    while (const dirent* entry = ::readdir(directory)) {
        const std::string_view name(entry->d_name);
        if (name != "." && name != "..") names.emplace_back(name);
    }
    ::closedir(directory);
    std::sort(names.begin(), names.end());
    return names;
}

std::string_view lastComponent(std::string_view path) {
    return path.size() > 1 ? path.substr(path.rfind('/') + 1) : path;
}

void draw(std::string& text, const TreeNode& node, const std::string& name, const std::string& branch,
          const std::string& indent, const std::map<std::string, std::string>& labels,
          const DrawingStyle& style) {
    text += branch + printableName(name);
    const std::string badge = drawBadge(node.badge, labels, style);
    if (!badge.empty()) text += "  " + badge;
    text += '\n';
    for (const TreeNode& child : node.children) {
        const bool isLast = &child == &node.children.back();
        draw(text, child, std::string(lastComponent(child.path)), indent + (isLast ? "└── " : "├── "),
             indent + (isLast ? "    " : "│   "), labels, style);
    }
}

} // namespace

TreeNode readTree(const std::string& path, unsigned depth) {
    TreeNode node{path, {}, {}};
    if (depth > 0 && isDirectory(path))
        for (const std::string& name : sortedNames(path))
            node.children.push_back(readTree((path == "/" ? "" : path) + "/" + name, depth - 1));
    return node;
}

std::string printableName(const std::string& name) {
    std::string printable = name;
    for (char& c : printable)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
    return printable;
}

std::string drawBadge(const std::string& badge, const std::map<std::string, std::string>& labels,
                      const DrawingStyle& style) {
    const auto* const mark = std::find_if(marks.begin(), marks.end(),
                                          [&badge](const Mark& known) { return known.badge == badge; });
    if (mark == marks.end()) return {};
    const auto label = labels.find(badge);
    const std::string text = std::string(mark->sign) + " " + (label != labels.end() ? label->second : badge);
    return style.hasColors ? "\x1b[" + std::string(mark->colour) + "m" + text + "\x1b[0m" : text;
}

std::string drawTree(const TreeNode& root, const std::map<std::string, std::string>& labels,
                     const DrawingStyle& style) {
    std::string text;
    draw(text, root, root.path, "", "", labels, style);
    return text;
}

} // namespace hosts::terminal
