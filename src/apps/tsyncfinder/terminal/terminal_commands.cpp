#include "apps/tsyncfinder/terminal/terminal_commands.h"

#include "apps/tsyncfinder/terminal/commands.h"
#include "apps/tsyncfinder/terminal/paths.h"
#include "backends/dbus/FinderSync1Client.h"

#include <cstdlib>

namespace apps::tsyncfinder {

void addTerminalCommands(CLI::App& app, int& exitStatus) {
    const auto arguments = std::make_shared<terminal::Arguments>();
    const auto add = [&](const std::string& name, const std::string& description,
                         int (*action)(hosts::terminal::Extension&, const terminal::Arguments&),
                         int trouble = terminal::trouble) {
        CLI::App* command = app.add_subcommand(name, description);
        command->callback([arguments, action, trouble, &exitStatus] {
            try {
                backends::dbus::FinderSync1Client extension;
                exitStatus = action(extension, *arguments);
            } catch (const terminal::OutputLost&) {
                exitStatus = trouble;
            } catch (const std::exception& error) { // of the extension, or of an answer that makes no sense
                terminal::complain(error.what());
                exitStatus = trouble;
            }
        });
        return command;
    };
    CLI::App* badges =
        add("badges", "Show files and folders as a tree with their badges", terminal::showBadges);
    badges->add_option("PATH", arguments->paths, "Files or folders; none: the current folder");
    badges->add_option("--depth", arguments->depth, "Levels of folders to go into")->capture_default_str();
    badges->add_flag("--watch", arguments->watches,
                     "Go on and print each badge that changes, and what is new or gone");
    badges->add_flag("--json", arguments->isJson,
                     "An array of {\"path\",\"badge\"}; with --watch then a line for each change");

    CLI::App* menu = add("menu", "Show the menu that a selection of items gets", terminal::showMenu);
    menu->add_option("PATH", arguments->paths, "The selected items, in order; none: an empty selection");
    menu->add_flag("--json", arguments->isJson,
                   "The tree of {\"title\",\"key\",\"enabled\",\"image\",\"items\"}");

    CLI::App* invoke = add("invoke", "Choose a menu item for a selection, by title, key or action name",
                           terminal::invokeItem);
    invoke
        ->add_option("ITEM", arguments->item,
                     "\"Stop sync\", TSFP-Stop-Sync, stopSync:, … includeSync: ends an exclusion and "
                     "copyPublicLink: copies a link; these two are in no menu")
        ->required();
    invoke->add_option("PATH", arguments->paths,
                       "The selected items, in order; the item has to be in their menu");
    invoke->add_option("--destination", arguments->destination,
                       "The remote folder, instead of asking in a panel");
    invoke
        ->add_option("--recipient", arguments->recipients, "An e-mail address, instead of asking; repeatable")
        ->allow_extra_args(false); // the next word is a path again
    invoke->add_flag("--json", arguments->isJson, "{\"succeeded\",\"message\"}, in English");

    CLI::App* why = add("why", "Tell why an item has its badge", terminal::explainBadges);
    why->add_option("PATH", arguments->paths, "Files or folders")->required();
    why->add_flag("--json", arguments->isJson, "One object a path");

    CLI::App* wait =
        add("wait", "Wait until all at and below the paths is in step", terminal::waitForPaths, EXIT_FAILURE);
    wait->add_option("PATH", arguments->paths, "Files or folders in synced folders, or above them")
        ->required();
    wait->add_option("--timeout", arguments->timeout, "Seconds to wait at most; 0: only tell")
        ->check(CLI::Range(0.0, 1e9));

    CLI::App* status =
        add("status", "Tell what is synced, what is under way, and what shows it", terminal::showStatus);
    status->add_flag("--json", arguments->isJson, "One object with all that the extension knows");
}

} // namespace apps::tsyncfinder
