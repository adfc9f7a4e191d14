#include "apps/tsyncfinder/doctor/IconThemes.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

namespace apps::tsyncfinder::doctor {
namespace {

namespace fs = std::filesystem;

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::string part;
    for (const char c : text + separator) {
        if (c != separator)
            part += c;
        else if (!part.empty())
            parts.push_back(std::exchange(part, {}));
    }
    return parts;
}

// The value of a key in the first group of an index.theme.
std::string indexEntry(const fs::path& index, const std::string& key) {
    std::ifstream file(index);
    bool isInGroup = false;
    for (std::string line; std::getline(file, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.starts_with('[')) {
            if (isInGroup) break;
            isInGroup = line == "[Icon Theme]";
        } else if (isInGroup && line.starts_with(key)) {
            const std::size_t equals = line.find_first_not_of(' ', key.size());
            if (equals == std::string::npos || line[equals] != '=') continue;
            const std::size_t value = line.find_first_not_of(' ', equals + 1);
            return value == std::string::npos ? "" : line.substr(value);
        }
    }
    return {};
}

// GTK believes a cache that is not older than its folder; the names stand in it as C strings.
bool isHiddenByCache(const fs::path& themeFolder, const std::string& icon) {
    const fs::path cache = themeFolder / "icon-theme.cache";
    std::error_code error;
    const auto cacheTime = fs::last_write_time(cache, error);
    if (error || cacheTime < fs::last_write_time(themeFolder, error)) return false;
    std::ifstream file(cache, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    return content.find(icon + '\0') == std::string::npos;
}

} // namespace

std::vector<std::string> IconThemes::standardFolders() {
    const std::string home = variable("HOME");
    std::string dataHome = variable("XDG_DATA_HOME");
    if (dataHome.empty()) dataHome = home + "/.local/share";
    std::string dataFolders = variable("XDG_DATA_DIRS");
    if (dataFolders.empty()) dataFolders = "/usr/local/share:/usr/share";
    std::vector<std::string> folders{home + "/.icons", dataHome + "/icons"};
    for (const std::string& folder : split(dataFolders, ':'))
        folders.push_back(folder + "/icons");
    return folders;
}

std::vector<std::string> IconThemes::lineage(const std::string& theme) const {
    std::vector<std::string> themes;
    std::vector<std::string> waiting{theme};
    std::vector<std::string> seen{"hicolor"};
    std::error_code error;
    while (!waiting.empty()) {
        const std::string next = waiting.front();
        waiting.erase(waiting.begin());
        if (std::find(seen.begin(), seen.end(), next) != seen.end()) continue;
        seen.push_back(next);
        for (const std::string& folder : folders) {
            const fs::path index = fs::path(folder) / next / "index.theme";
            if (!fs::exists(index, error)) continue;
            themes.push_back(next);
            for (const std::string& parent : split(indexEntry(index, "Inherits"), ','))
                waiting.push_back(parent);
            break;
        }
    }
    themes.emplace_back("hicolor");
    return themes;
}

std::string IconThemes::find(const std::string& theme, std::string_view icon, std::string& staleCache) const {
    std::error_code error;
    // The first index.theme of a theme is the one that counts, for all its folders.
    std::vector<std::string> sizes;
    for (auto folder = folders.begin(); folder != folders.end() && sizes.empty(); ++folder)
        for (const char* key : {"Directories", "ScaledDirectories"})
            for (std::string& size : split(indexEntry(fs::path(*folder) / theme / "index.theme", key), ','))
                sizes.push_back(std::move(size));
    for (const std::string& folder : folders) {
        const fs::path themeFolder = fs::path(folder) / theme;
        if (!fs::is_directory(themeFolder, error)) continue; // of a few hundred sizes
        for (const std::string& size : sizes) {
            for (const char* ending : {".png", ".svg"}) {
                const fs::path file = themeFolder / size / (std::string(icon) + ending);
                if (!fs::exists(file, error)) continue;
                if (!isHiddenByCache(themeFolder, std::string(icon))) return file.string();
                staleCache = themeFolder.string();
            }
        }
    }
    return {};
}

} // namespace apps::tsyncfinder::doctor
