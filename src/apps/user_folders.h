// The person's folders by the XDG Base Directory Specification of freedesktop.org, version 0.8.
#pragma once

#include <filesystem>

namespace apps {

// What the variable says when that is an absolute path, else the fallback below the home folder.
std::filesystem::path userFolder(const char* variable, const char* fallback);

inline std::filesystem::path configFolder() { return userFolder("XDG_CONFIG_HOME", ".config"); }

} // namespace apps
