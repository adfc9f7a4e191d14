#include "apps/user_folders.h"

#include <cstdlib>

namespace apps {

std::filesystem::path userFolder(const char* variable, const char* fallback) {
    const char* folder = std::getenv(variable);
    if (folder != nullptr && *folder == '/') return folder;
    const char* home = std::getenv("HOME");
    return std::filesystem::path(home != nullptr ? home : "/") / fallback;
}

} // namespace apps
