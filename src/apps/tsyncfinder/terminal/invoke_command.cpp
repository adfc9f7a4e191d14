#include "apps/tsyncfinder/terminal/commands.h"
#include "apps/tsyncfinder/terminal/paths.h"
#include "extension/commands.h"
#include "hosts/terminal/menu_text.h"
#include "platform/json.h"
#include "platform/utf8.h"
#include "protocol/translations.h"

#include <cstdlib>
#include <iostream>

namespace apps::tsyncfinder::terminal {
namespace {

constexpr std::string_view noDisplay = "There is no display to choose on; nothing was sent.";

// The item as the extension is to be asked for it, "" when the selection's menu does not offer it. Actions
// that have no menu item are always offered, and so is all while the menu is switched off.
std::string offeredItem(const std::vector<hosts::terminal::MenuEntry>& menu, const std::string& item) {
    if (menu.empty()) return item;
    if (const hosts::terminal::MenuEntry* entry = hosts::terminal::itemNamed(menu, item))
        return item == entry->key || item == entry->action ? item : entry->title;
    const extension::Command* command = extension::commandNamed(item);
    return command != nullptr && !command->title.empty()
               ? ""
               : item; // the extension knows what is not an item at all
}

} // namespace

int showMenu(hosts::terminal::Extension& extension, const Arguments& arguments) {
    const std::vector<std::string> paths = existingPaths(arguments.paths);
    if (paths.size() != arguments.paths.size()) return trouble;
    const auto menu = extension.menu(urisOf(paths));
    if (menu.empty() && !arguments.isJson) complain("The menu is switched off: tsyncfinder config menu on");
    if (arguments.isJson)
        std::cout << platform::jsonDescription(hosts::terminal::menuValue(menu)) << '\n';
    else
        std::cout << hosts::terminal::drawMenu(menu, hosts::terminal::DrawingStyle::ofStandardOutput());
    return EXIT_SUCCESS;
}

int invokeItem(hosts::terminal::Extension& extension, const Arguments& arguments) {
    const std::vector<std::string> paths = existingPaths(arguments.paths);
    if (paths.size() != arguments.paths.size()) return trouble;
    const std::vector<std::string> uris = urisOf(paths);
    const std::string item = offeredItem(extension.menu(uris), arguments.item);
    if (item.empty()) {
        complain("the menu of this selection has no item \"" + arguments.item + "\"");
        return trouble;
    }
    platform::Dictionary options;
    if (!arguments.destination.empty()) options["destination"] = arguments.destination;
    if (!arguments.recipients.empty())
        options["recipients"] = platform::Array(arguments.recipients.begin(), arguments.recipients.end());
    const auto outcome = extension.invoke(item, uris, options);
    if (arguments.isJson) {
        std::cout << platform::jsonDescription(platform::Dictionary{{"succeeded", outcome.succeeded},
                                                                    {"message", outcome.message.english()}})
                  << '\n';
    } else {
        const char* format = tsyncTranslated(outcome.message.format.c_str(), tsyncMessageLocale());
        (outcome.succeeded ? std::cout : std::cerr)
            << hosts::terminal::printableName(platform::filled(format, outcome.message.arguments)) << '\n';
        if (outcome.message.format == noDisplay)
            complain("--destination and --recipient answer without a window");
    }
    return outcome.succeeded ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace apps::tsyncfinder::terminal
