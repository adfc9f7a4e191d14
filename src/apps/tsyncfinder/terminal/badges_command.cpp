#include "apps/tsyncfinder/terminal/BadgeWatch.h"
#include "apps/tsyncfinder/terminal/commands.h"
#include "apps/tsyncfinder/terminal/daemon_notice.h"
#include "apps/tsyncfinder/terminal/paths.h"
#include "backends/dbus/DaemonProbe.h"
#include "hosts/terminal/badge_tree.h"
#include "platform/json.h"
#include "platform/utf8.h"

#include <cstdlib>
#include <iostream>

namespace apps::tsyncfinder::terminal {
namespace {

using hosts::terminal::TreeNode;

void fillBadges(hosts::terminal::Extension& extension, TreeNode& tree) {
    std::vector<TreeNode*> nodes;
    std::vector<std::string> paths;
    hosts::terminal::forEachNode(tree, [&](TreeNode& node) {
        nodes.push_back(&node);
        paths.push_back(node.path);
    });
    std::vector<std::string> badges = badgesOf(extension, paths);
    for (std::size_t i = 0; i < nodes.size(); ++i)
        nodes[i]->badge = std::move(badges[i]);
}

// A person who sees none wants to know that the settings are the cause.
void tellWhenBadgesAreOff(hosts::terminal::Extension& extension) {
    const platform::Dictionary status = extension.status();
    if (!platform::flagAt(status, "badgesShown").value_or(true))
        complain("Badges are switched off: tsyncfinder config badges on");
}

} // namespace

int showBadges(hosts::terminal::Extension& extension, const Arguments& arguments) {
    const std::vector<std::string> asked =
        arguments.paths.empty() ? std::vector<std::string>{"."} : arguments.paths;
    const std::vector<std::string> paths = existingPaths(asked);
    if (!arguments.isJson) {
        tellWhenBadgesAreOff(extension);
        tellWhenDaemonIsNotAnswering(backends::dbus::DaemonProbe().presence());
    }
    std::vector<TreeNode> trees;
    for (const std::string& path : paths) {
        trees.push_back(hosts::terminal::readTree(path, arguments.depth));
        fillBadges(extension, trees.back());
    }
    if (arguments.isJson) {
        platform::Array items;
        for (const TreeNode& tree : trees)
            hosts::terminal::forEachNode(tree, [&items](const TreeNode& node) {
                items.emplace_back(
                    platform::Dictionary{{"path", platform::undoableText(node.path)}, {"badge", node.badge}});
            });
        std::cout << platform::jsonDescription(items) << '\n';
    } else {
        const auto looks = looksOf(extension);
        const auto style = hosts::terminal::DrawingStyle::ofStandardOutput();
        for (const TreeNode& tree : trees)
            std::cout << hosts::terminal::drawTree(tree, looks, style);
    }
    flushLines();
    if (arguments.watches && !trees.empty())
        BadgeWatch(extension, trees, arguments.depth, arguments.isJson).run();
    return paths.size() == asked.size() ? EXIT_SUCCESS : trouble;
}

} // namespace apps::tsyncfinder::terminal
