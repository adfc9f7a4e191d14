#include "apps/tsyncfinder/terminal_commands.h"

#include "backends/dbus/FinderSync1Client.h"
#include "hosts/terminal/badge_tree.h"
#include "hosts/terminal/menu_text.h"
#include "platform/FileURL.h"
#include "platform/Json.h"
#include "protocol/translations.h"

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <unistd.h>

namespace apps::tsyncfinder {
namespace {

using hosts::terminal::Extension;
using hosts::terminal::ExtensionError;
using hosts::terminal::TreeNode;

constexpr int extensionTrouble = 2;
constexpr std::size_t itemsPerRequest = 10'000;

struct Arguments {
    std::vector<std::string> paths;
    std::string item;
    std::string destination;
    std::vector<std::string> recipients;
    unsigned depth = 3;
    bool isJson = false;
    bool watches = false;
};

// The absolute path as it is spelled: "." and ".." of the current folder are resolved by text alone. "" when
// it cannot be told: an empty path, or one in a current folder that has been removed.
std::string absolutePath(const std::string& path) {
    std::error_code error;
    std::string absolute = std::filesystem::absolute(path, error).lexically_normal().string();
    while (absolute.size() > 1 && absolute.ends_with('/'))
        absolute.pop_back();
    return absolute;
}

std::string uriOf(const std::string& path) {
    const auto url = platform::FileURL::withPath(absolutePath(path));
    if (!url) throw ExtensionError("No file can have that path: \"" + path + "\"");
    return url->uri();
}

std::vector<std::string> urisOf(const std::vector<std::string>& paths) {
    std::vector<std::string> uris;
    uris.reserve(paths.size());
    for (const std::string& path : paths)
        uris.push_back(uriOf(path));
    return uris;
}

hosts::terminal::DrawingStyle terminalStyle() {
    const char* noColor = std::getenv("NO_COLOR");
    return {::isatty(STDOUT_FILENO) == 1 && (noColor == nullptr || *noColor == '\0')};
}

void fillBadges(Extension& extension, TreeNode& tree) {
    std::vector<TreeNode*> nodes;
    hosts::terminal::forEachNode(tree, [&nodes](TreeNode& node) { nodes.push_back(&node); });
    for (std::size_t start = 0; start < nodes.size(); start += itemsPerRequest) {
        const std::size_t end = std::min(start + itemsPerRequest, nodes.size());
        std::vector<std::string> uris;
        for (std::size_t i = start; i < end; ++i)
            uris.push_back(platform::FileURL::withPath(nodes[i]->path).value().uri());
        const auto badges = extension.badges(uris);
        for (std::size_t i = start; i < end; ++i)
            nodes[i]->badge = badges[i - start].badge;
    }
}

// Prints each item whose badge has become another one, until the extension leaves or the program is ended.
void watchTrees(Extension& extension, std::vector<TreeNode>& trees) {
    std::map<std::string, std::string> known; // badge by URI
    std::vector<std::string> directories;
    for (TreeNode& tree : trees) {
        hosts::terminal::forEachNode(tree, [&](const TreeNode& node) {
            const std::string uri = platform::FileURL::withPath(node.path).value().uri();
            known.emplace(uri, node.badge);
            if (!node.children.empty()) directories.push_back(uri);
        });
        // An item's own badge is announced in the folder that holds it.
        directories.push_back(
            platform::FileURL::withPath(std::filesystem::path(tree.path).parent_path().string())
                .value()
                .uri());
    }
    const auto labels = extension.badgeLabels();
    const auto style = terminalStyle();
    extension.watch(directories, [&](const auto& changes) {
        std::vector<std::string> asked;
        for (const auto& change : changes) {
            for (const std::string& item : change.items)
                if (known.contains(item)) asked.push_back(item);
            if (change.items.empty()) {
                const std::string prefix = change.uri + "/";
                for (const auto& [uri, badge] : known)
                    if (uri.starts_with(prefix) && uri.find('/', prefix.size()) == uri.npos)
                        asked.push_back(uri);
            }
        }
        const auto badges =
            asked.empty() ? std::vector<hosts::terminal::ItemBadge>() : extension.badges(asked);
        for (std::size_t i = 0; i < asked.size(); ++i) {
            if (badges[i].badge == "unchanged" || known[asked[i]] == badges[i].badge) continue;
            known[asked[i]] = badges[i].badge;
            const std::string drawn = hosts::terminal::drawBadge(badges[i].badge, labels, style);
            std::cout << hosts::terminal::printableName(platform::FileURL::withURI(asked[i]).value().path())
                      << "  " << (drawn.empty() ? "no badge" : drawn) << std::endl;
        }
        return true;
    });
}

// A person who sees none wants to know that it is by the settings.
void tellWhenBadgesAreOff(Extension& extension) {
    const platform::Dictionary status = extension.status();
    if (!platform::flagAt(status, "badgesShown").value_or(true))
        std::cerr << "Badges are switched off: tsyncfinder config badges on\n";
}

void printBadges(Extension& extension, const Arguments& arguments) {
    if (!arguments.isJson) tellWhenBadgesAreOff(extension);
    std::vector<TreeNode> trees;
    for (const std::string& path : arguments.paths) {
        uriOf(path);
        trees.push_back(hosts::terminal::readTree(absolutePath(path), arguments.depth));
        fillBadges(extension, trees.back());
    }
    if (arguments.isJson) {
        platform::Array items;
        for (TreeNode& tree : trees)
            hosts::terminal::forEachNode(tree, [&items](const TreeNode& node) {
                items.push_back(platform::Dictionary{{"path", node.path}, {"badge", node.badge}});
            });
        std::cout << platform::jsonDescription(items) << '\n';
    } else {
        const auto labels = extension.badgeLabels();
        for (const TreeNode& tree : trees)
            std::cout << hosts::terminal::drawTree(tree, labels, terminalStyle());
    }
    std::cout.flush();
    if (arguments.watches) watchTrees(extension, trees);
}

void printMenu(Extension& extension, const Arguments& arguments) {
    const auto menu = extension.menu(urisOf(arguments.paths));
    if (menu.empty() && !arguments.isJson)
        std::cerr << "The menu is switched off: tsyncfinder config menu on\n";
    if (arguments.isJson)
        std::cout << platform::jsonDescription(hosts::terminal::menuValue(menu)) << '\n';
    else
        std::cout << hosts::terminal::drawMenu(menu);
}

int invokeItem(Extension& extension, const Arguments& arguments) {
    platform::Dictionary options;
    if (!arguments.destination.empty()) options["destination"] = arguments.destination;
    if (!arguments.recipients.empty()) {
        platform::Array recipients;
        for (const std::string& address : arguments.recipients)
            recipients.emplace_back(address);
        options["recipients"] = std::move(recipients);
    }
    const auto outcome = extension.invoke(arguments.item, urisOf(arguments.paths), options);
    if (arguments.isJson) {
        std::cout << platform::jsonDescription(platform::Dictionary{{"succeeded", outcome.succeeded},
                                                                    {"message", outcome.message.english()}})
                  << '\n';
    } else {
        const char* format = tsyncTranslated(outcome.message.format.c_str(), tsyncMessageLocale());
        (outcome.succeeded ? std::cout : std::cerr)
            << hosts::terminal::printableName(platform::filled(format, outcome.message.arguments)) << '\n';
    }
    return outcome.succeeded ? EXIT_SUCCESS : EXIT_FAILURE;
}

void printExplanation(Extension& extension, const Arguments& arguments) {
    for (const std::string& path : arguments.paths) {
        const auto why = extension.explain(uriOf(path));
        if (arguments.isJson) {
            std::cout << platform::jsonDescription(platform::Dictionary{{"path", absolutePath(path)},
                                                                        {"badge", why.badge},
                                                                        {"rule", why.rule},
                                                                        {"root", why.root},
                                                                        {"file", why.file}})
                      << '\n';
            continue;
        }
        std::cout << hosts::terminal::printableName(absolutePath(path)) << ": " << why.badge << '\n';
        if (why.rule == "off") std::cout << "  Badges are switched off: tsyncfinder config badges on\n";
        if (why.root.empty())
            std::cout << "  It lies in no synced folder.\n";
        else
            std::cout << "  Synced folder: " << hosts::terminal::printableName(why.root) << '\n';
        if (why.rule == "root")
            std::cout << "  It is the synced folder itself.\n";
        else if (why.rule == "missing")
            std::cout << "  Nothing exists there, or its disk does not answer: it keeps the badge it had.\n";
        else if (!why.file.empty())
            std::cout << (why.rule == "working" ? "  In work: " : "  Uploading now: ")
                      << hosts::terminal::printableName(why.file) << '\n';
        else if (why.rule == "synced")
            std::cout << "  Nothing at it or below it is under way.\n";
    }
}

void printStatus(Extension& extension, const Arguments& arguments) {
    platform::Dictionary status = extension.status();
    status["version"] = extension.version();
    if (arguments.isJson) {
        std::cout << platform::jsonDescription(status) << '\n';
        return;
    }
    for (const auto& [key, value] : status)
        std::cout << key << ": " << platform::jsonDescription(value) << '\n';
}

} // namespace

void addTerminalCommands(CLI::App& app, int& exitStatus) {
    const auto arguments = std::make_shared<Arguments>();
    const auto add = [&](const std::string& name, const std::string& description, auto action) {
        CLI::App* command = app.add_subcommand(name, description);
        command->callback([arguments, action, &exitStatus] {
            try {
                backends::dbus::FinderSync1Client extension;
                exitStatus = action(extension, *arguments);
            } catch (const std::exception& error) { // of the extension, or of an answer that makes no sense
                std::cerr << "tsyncfinder: " << error.what() << '\n';
                exitStatus = extensionTrouble;
            }
        });
        return command;
    };
    const auto done = [](auto print) {
        return [print](Extension& extension, const Arguments& given) {
            print(extension, given);
            return EXIT_SUCCESS;
        };
    };
    CLI::App* badges = add("badges", "Show files and folders as a tree with their badges", done(printBadges));
    badges->add_option("PATH", arguments->paths, "Files or folders")->required();
    badges->add_option("--depth", arguments->depth, "Levels of folders to go into")->capture_default_str();
    badges->add_flag("--watch", arguments->watches, "Go on and print each badge that changes");
    badges->add_flag("--json", arguments->isJson, "An array of {\"path\",\"badge\"}");

    CLI::App* menu = add("menu", "Show the menu that a selection of items gets", done(printMenu));
    menu->add_option("PATH", arguments->paths, "The selected items, in order; none: an empty selection");
    menu->add_flag("--json", arguments->isJson,
                   "The tree of {\"title\",\"key\",\"enabled\",\"image\",\"items\"}");

    CLI::App* invoke =
        add("invoke", "Choose a menu item for a selection, by title, key or action name", invokeItem);
    invoke->add_option("ITEM", arguments->item, "\"Stop sync\", TSFP-Stop-Sync, stopSync:, …")->required();
    invoke->add_option("PATH", arguments->paths, "The selected items, in order");
    invoke->add_option("--destination", arguments->destination,
                       "The remote folder, instead of asking in a panel");
    invoke
        ->add_option("--recipient", arguments->recipients, "An e-mail address, instead of asking; repeatable")
        ->allow_extra_args(false); // the next word is a path again
    invoke->add_flag("--json", arguments->isJson, "{\"succeeded\",\"message\"}, in English");

    CLI::App* why = add("why", "Tell why an item has its badge", done(printExplanation));
    why->add_option("PATH", arguments->paths, "Files or folders")->required();
    why->add_flag("--json", arguments->isJson, "One object a path");

    CLI::App* status = add("status", "Tell what the extension knows", done(printStatus));
    status->add_flag("--json", arguments->isJson, "One object");
}

} // namespace apps::tsyncfinder
