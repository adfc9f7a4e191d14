// What the subcommands do that make a terminal a file manager. Each prints and returns the exit status; what
// keeps the extension from answering is raised as hosts::terminal::ExtensionError.
#pragma once

#include "hosts/terminal/Extension.h"

#include <optional>
#include <string>
#include <vector>

namespace apps::tsyncfinder::terminal {

// Of all subcommands; each uses its own.
struct Arguments {
    std::vector<std::string> paths;
    std::string item;
    std::string destination;
    std::vector<std::string> recipients;
    unsigned depth = 3;
    bool isJson = false;
    bool watches = false;
    std::optional<double> timeout; // seconds; none: for ever
};

// Nothing was done, or not all of it: the extension cannot be asked, a path does not exist, an argument makes
// no sense.
inline constexpr int trouble = 2;

int showBadges(hosts::terminal::Extension& extension, const Arguments& arguments);
int showMenu(hosts::terminal::Extension& extension, const Arguments& arguments);
int invokeItem(hosts::terminal::Extension& extension, const Arguments& arguments);
int explainBadges(hosts::terminal::Extension& extension, const Arguments& arguments);
int showStatus(hosts::terminal::Extension& extension, const Arguments& arguments);

// Waits until all at and below the paths is in step. It has exit statuses of its own: 1 for every problem,
// that the extension cannot be asked among them, and this one.
inline constexpr int timeIsOver = 2;
int waitForPaths(hosts::terminal::Extension& extension, const Arguments& arguments);

} // namespace apps::tsyncfinder::terminal
