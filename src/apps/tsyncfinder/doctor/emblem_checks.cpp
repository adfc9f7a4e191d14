#include "apps/tsyncfinder/doctor/IconThemes.h"
#include "apps/tsyncfinder/doctor/checks.h"
#include "apps/tsyncfinder/doctor/run_program.h"
#include "extension/badges.h"
#include "protocol/names.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace apps::tsyncfinder::doctor {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds answerBound{3};

struct Theme {
    std::string name;
    std::string source; // who says so
};

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

// A desktop's own setting; "": it has none.
std::string desktopSetting(const std::string& schema) {
    const auto answer = runProgram({"gsettings", "get", schema, "icon-theme"}, answerBound);
    if (!answer || answer->status != 0) return {};
    const std::size_t start = answer->output.find('\'');
    const std::size_t end = answer->output.find('\'', start + 1);
    return end == std::string::npos ? "" : answer->output.substr(start + 1, end - start - 1);
}

// What GTK takes where no desktop says otherwise.
std::string toolkitSetting(const fs::path& file) {
    std::ifstream settings(file);
    for (std::string line; std::getline(settings, line);) {
        if (!line.starts_with("gtk-icon-theme-name")) continue;
        const std::size_t start =
            line.find_first_not_of(" =", std::string_view("gtk-icon-theme-name").size());
        return start == std::string::npos ? "" : line.substr(start);
    }
    return {};
}

Theme currentTheme() {
    const std::string desktop = variable("XDG_CURRENT_DESKTOP");
    const char* const schema = desktop.find("Cinnamon") != std::string::npos
                                   ? "org.cinnamon.desktop.interface"
                               : desktop.find("MATE") != std::string::npos ? "org.mate.interface"
                                                                           : "org.gnome.desktop.interface";
    if (std::string name = desktopSetting(schema); !name.empty()) return {std::move(name), schema};
    const std::string config =
        variable("XDG_CONFIG_HOME").empty() ? variable("HOME") + "/.config" : variable("XDG_CONFIG_HOME");
    for (const fs::path& folder : {fs::path(config), fs::path("/etc")})
        for (const char* toolkit : {"gtk-4.0", "gtk-3.0"})
            if (std::string name = toolkitSetting(folder / toolkit / "settings.ini"); !name.empty())
                return {std::move(name), (folder / toolkit / "settings.ini").string()};
    return {"hicolor", "no desktop names one"};
}

} // namespace

Findings checkEmblems() {
    const Theme theme = currentTheme();
    const IconThemes themes(IconThemes::standardFolders());
    const auto lineage = themes.lineage(theme.name);
    std::string missing;
    std::string staleCache;
    std::string foundIn;
    for (const extension::Badge& badge : extension::badges) {
        const std::string icon = FINDER_SYNC_EMBLEM_ICON_PREFIX + std::string(badge.identifier);
        std::string file;
        for (auto each = lineage.begin(); each != lineage.end() && file.empty(); ++each) {
            file = themes.find(*each, icon, staleCache);
            if (!file.empty()) foundIn = *each;
        }
        if (file.empty()) missing += (missing.empty() ? "" : ", ") + icon;
    }
    const std::string current = "the icon theme " + theme.name + " (" + theme.source + ")";
    if (missing.empty())
        return {{State::ok, "emblems", "All emblems are found from " + current + ", in " + foundIn, ""}};
    return {{State::problem, "emblems", "Not found from " + current + ": " + missing + ".",
             staleCache.empty()
                 ? "Install the packages tsyncfinder and hicolor-icon-theme, or add the folder "
                   "that holds the icons to XDG_DATA_DIRS."
                 : "Its icon cache does not know them: gtk-update-icon-cache -f " + staleCache}};
}

} // namespace apps::tsyncfinder::doctor
