// The subcommands that make a terminal a file manager: badges, menu, invoke, why, wait, status.
#pragma once

#include <CLI/CLI.hpp>

namespace apps::tsyncfinder {

// Adds the subcommands; the chosen one runs while the arguments are parsed and stores the exit status: 0,
// 1 when a chosen item's action failed, 2 when the extension cannot be asked, a path does not exist, or the
// selection's menu does not offer the item; `wait` has its own.
void addTerminalCommands(CLI::App& app, int& exitStatus);

} // namespace apps::tsyncfinder
