// `tsyncfinder doctor`: looks at everything that must be right for badges and menus to appear.
#pragma once

#include <CLI/CLI.hpp>

namespace apps::tsyncfinder::doctor {

// Exit status 0 when there is no problem, 1 when there is one.
void addDoctorCommand(CLI::App& app, int& exitStatus);

} // namespace apps::tsyncfinder::doctor
