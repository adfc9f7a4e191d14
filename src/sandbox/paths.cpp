#include "sandbox/paths.h"

#include <sys/stat.h>

#include <cerrno>
#include <system_error>

namespace sandbox {

namespace fs = std::filesystem;

std::string numberedName(const fs::path& name, int number) {
    return name.stem().string() + " (" + std::to_string(number) + ")" + name.extension().string();
}

std::optional<fs::path> confinedPath(const fs::path& tree, std::string_view path) {
    std::string place = tree.string();
    if (path == "/") return place;
    while (!path.empty()) {
        struct stat info {};
        if (lstat(place.c_str(), &info) == 0 ? !S_ISDIR(info.st_mode) : errno != ENOENT) return std::nullopt;
        if (path.front() != '/') return std::nullopt;
        const std::string_view component = path.substr(1, path.find('/', 1) - 1);
        if (component.empty() || component == "." || component == "..") return std::nullopt;
        path.remove_prefix(component.size() + 1);
        place += '/';
        place += component;
    }
    return place == tree ? std::nullopt : std::optional<fs::path>(place);
}

bool makeConfinedFolder(const fs::path& tree, std::string_view path) {
    const std::optional<fs::path> place = confinedPath(tree, path);
    if (!place) return false;
    std::error_code error;
    fs::create_directories(*place, error);
    return fs::is_directory(fs::symlink_status(*place, error));
}

} // namespace sandbox
