#include "apps/tsyncfinder/installation.h"

#include <filesystem>

namespace apps::tsyncfinder {
namespace {

namespace fs = std::filesystem;

fs::path programFolder() {
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error).parent_path();
}

// The first of the two places, relative to this program's folder, that exists; or the one of a package.
std::string besideProgram(const char* installed, const char* built, const char* packaged) {
    std::error_code error;
    const fs::path folder = programFolder();
    for (const char* candidate : {installed, built})
        if (fs::exists(folder / candidate, error)) return fs::canonical(folder / candidate, error).string();
    return packaged;
}

} // namespace

std::string installationPrefix() { return programFolder().parent_path().string(); }

std::string resourceFolder() {
    return besideProgram("../share/tsyncfinder", "../../resources", "/usr/share/tsyncfinder");
}

std::string panelProgram() {
    return besideProgram("../libexec/tsyncfinder/tsyncfinder-panel", "../tsyncfinder-panel/tsyncfinder-panel",
                         "/usr/libexec/tsyncfinder/tsyncfinder-panel");
}

} // namespace apps::tsyncfinder
