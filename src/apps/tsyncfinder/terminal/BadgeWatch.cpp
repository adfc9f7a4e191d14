#include "apps/tsyncfinder/terminal/BadgeWatch.h"

#include "apps/tsyncfinder/terminal/paths.h"
#include "extension/badges.h"
#include "platform/FileURL.h"
#include "platform/json.h"
#include "platform/utf8.h"
#include "protocol/names.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <iostream>

namespace apps::tsyncfinder::terminal {
namespace {

using hosts::terminal::TreeNode;

constexpr std::size_t itemsPerRequest = 10'000;

std::string parentOf(const std::string& path) { return std::filesystem::path(path).parent_path().string(); }

bool exists(const std::string& path) {
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0;
}

} // namespace

std::vector<std::string> badgesOf(hosts::terminal::Extension& extension,
                                  const std::vector<std::string>& paths) {
    std::vector<std::string> badges;
    badges.reserve(paths.size());
    for (std::size_t start = 0; start < paths.size(); start += itemsPerRequest) {
        const std::size_t end = std::min(start + itemsPerRequest, paths.size());
        std::vector<std::string> uris;
        for (std::size_t i = start; i < end; ++i)
            uris.push_back(uriOf(paths[i]));
        for (auto& answer : extension.badges(uris))
            badges.push_back(std::move(answer.badge));
    }
    return badges;
}

hosts::terminal::BadgeLooks looksOf(hosts::terminal::Extension& finder) {
    hosts::terminal::BadgeLooks looks;
    for (const auto& [identifier, label] : finder.badgeLabels())
        looks[identifier].label = label;
    for (const extension::Badge& badge : extension::badges) {
        const auto look = looks.find(std::string(badge.identifier));
        if (look == looks.end()) continue;
        look->second.sign = badge.sign;
        look->second.asciiSign = badge.asciiSign;
        look->second.colour = badge.colour;
    }
    return looks;
}

BadgeWatch::BadgeWatch(hosts::terminal::Extension& finder, const std::vector<TreeNode>& trees, unsigned depth,
                       bool isJson)
    : extension(finder), printsJson(isJson), looks(looksOf(finder)) {
    for (const TreeNode& tree : trees) {
        add(tree, depth);
        observeFolder(parentOf(tree.path)); // an item's own badge is announced in the folder that holds it
    }
}

void BadgeWatch::add(const TreeNode& node, unsigned depth) {
    items[node.path] = {node.badge, depth};
    if (node.isDirectory && depth > 0) observeFolder(node.path);
    for (const TreeNode& child : node.children)
        add(child, depth - 1);
}

void BadgeWatch::observeFolder(const std::string& path) {
    if (!observed.insert(path).second) return;
    entries.add(path);
    if (isWatching)
        extension.observe(uriOf(path));
    else
        toObserve.push_back(path);
}

void BadgeWatch::run() {
    const auto changed = [this](const std::vector<hosts::terminal::ChangedDirectory>& changes) {
        if (!isWatching)
            begin();
        else
            badgesChanged(changes);
        return true;
    };
    extension.watch(changed, {entries.descriptor(), [this] { entriesChanged(); }});
}

// What has changed since the trees were read and printed is seen now.
void BadgeWatch::begin() {
    isWatching = true;
    for (const std::string& folder : toObserve)
        extension.observe(uriOf(folder));
    toObserve.clear();
    lookEverywhere();
    std::vector<std::string> paths;
    for (const auto& [path, item] : items)
        paths.push_back(path);
    ask(paths, false);
}

void BadgeWatch::badgesChanged(const std::vector<hosts::terminal::ChangedDirectory>& changes) {
    std::vector<std::string> paths;
    for (const auto& change : changes) {
        for (const std::string& uri : change.items)
            if (const auto url = platform::FileURL::withURI(uri); url && items.contains(url->path()))
                paths.push_back(url->path());
        const auto folder = platform::FileURL::withURI(change.uri);
        if (!change.items.empty() || !folder) continue;
        const std::string prefix = folder->path() == "/" ? "/" : folder->path() + "/";
        for (auto item = items.lower_bound(prefix); item != items.end() && item->first.starts_with(prefix);
             ++item)
            if (item->first.find('/', prefix.size()) == std::string::npos) paths.push_back(item->first);
    }
    ask(paths, false);
}

void BadgeWatch::entriesChanged() {
    bool isLost = false;
    for (const std::string& path : entries.take(isLost))
        lookAgain(path);
    if (isLost) lookEverywhere();
    flushLines();
}

void BadgeWatch::lookAgain(const std::string& path) {
    const auto known = items.find(path);
    if (known != items.end()) {
        if (!exists(path)) disappear(path);
        return;
    }
    const auto folder = items.find(parentOf(path));
    if (folder != items.end() && folder->second.depth > 0 && exists(path))
        appear(path, folder->second.depth - 1);
}

void BadgeWatch::lookEverywhere() {
    std::vector<std::string> paths;
    for (const auto& [path, item] : items) {
        paths.push_back(path);
        if (item.depth > 0)
            for (const TreeNode& child : hosts::terminal::readTree(path, 1).children)
                paths.push_back(child.path);
    }
    for (const std::string& path : paths)
        lookAgain(path);
}

void BadgeWatch::appear(const std::string& path, unsigned depth) {
    if (depth > 0) entries.add(path); // before it is read, so that nothing is missed in between
    TreeNode tree = hosts::terminal::readTree(path, depth);
    std::vector<std::string> paths;
    hosts::terminal::forEachNode(tree, [&](const TreeNode& node) {
        if (!items.contains(node.path)) paths.push_back(node.path);
    });
    add(tree, depth);
    ask(paths, true);
}

void BadgeWatch::disappear(const std::string& path) {
    print(path, "", "gone");
    const std::string prefix = path + "/";
    items.erase(path);
    observed.erase(path);
    for (auto item = items.lower_bound(prefix); item != items.end() && item->first.starts_with(prefix);) {
        observed.erase(item->first);
        item = items.erase(item);
    }
}

void BadgeWatch::ask(const std::vector<std::string>& paths, bool areNew) {
    const std::vector<std::string> badges = badgesOf(extension, paths);
    for (std::size_t i = 0; i < paths.size(); ++i) {
        std::string& known = items[paths[i]].badge;
        if (!areNew && (badges[i] == FINDER_SYNC_BADGE_UNCHANGED || badges[i] == known)) continue;
        known = badges[i];
        print(paths[i], badges[i], areNew ? "new" : "");
    }
    flushLines();
}

void BadgeWatch::print(const std::string& path, const std::string& badge, const char* news) {
    const std::string_view what(news);
    if (printsJson) {
        platform::Dictionary line{{"path", platform::undoableText(path)}};
        if (what != "gone") line["badge"] = badge;
        if (!what.empty()) line["change"] = what;
        std::cout << platform::jsonDescription(line) << '\n';
        return;
    }
    std::string text = hosts::terminal::printableName(path);
    if (!what.empty()) text += "  " + std::string(what);
    const std::string drawn = hosts::terminal::drawBadge(badge, looks, style);
    if (!drawn.empty())
        text += "  " + drawn;
    else if (what.empty())
        text += "  no badge";
    std::cout << text << '\n';
}

} // namespace apps::tsyncfinder::terminal
