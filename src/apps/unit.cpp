#include "apps/unit.h"

#include "apps/user_folders.h"

namespace apps {

std::string maskOfUnit(const std::string& unit) {
    namespace fs = std::filesystem;
    std::error_code error;
    for (const fs::path& folder : {configFolder() / "systemd/user", fs::path("/etc/systemd/user")}) {
        const fs::path file = folder / unit;
        if (fs::is_symlink(file, error) && fs::read_symlink(file, error) == "/dev/null") return file.string();
    }
    return {};
}

} // namespace apps
