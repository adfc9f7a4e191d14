// `tsyncfinder config`: shows and changes the settings.
#pragma once

#include <CLI/CLI.hpp>

namespace apps::tsyncfinder {

void addConfigCommand(CLI::App& app, int& exitStatus);

} // namespace apps::tsyncfinder
