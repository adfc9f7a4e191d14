// Where the parts of the program are: installed ones, or those of the build folder that it runs from.
#pragma once

#include <string>

namespace apps::tsyncfinder {

inline constexpr auto unitName = "tsyncfinder.service"; // systemd's, of the person

std::string resourceFolder();     // the images
std::string installationPrefix(); // what this program's own folder lies in
std::string panelProgram();       // whether it exists or not

} // namespace apps::tsyncfinder
