#include "apps/tsyncfinder/unit.h"

#include "apps/tsyncfinder/settings.h"

#include <filesystem>

namespace apps::tsyncfinder {

std::string maskOfUnit() {
    namespace fs = std::filesystem;
    std::error_code error;
    for (const fs::path& folder : {configFolder() / "systemd/user", fs::path("/etc/systemd/user")}) {
        const fs::path unit = folder / unitName;
        if (fs::is_symlink(unit, error) && fs::read_symlink(unit, error) == "/dev/null") return unit.string();
    }
    return {};
}

} // namespace apps::tsyncfinder
