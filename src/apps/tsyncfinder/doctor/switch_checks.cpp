#include "apps/tsyncfinder/doctor/checks.h"
#include "apps/tsyncfinder/doctor/file_managers.h"
#include "apps/tsyncfinder/doctor/run_program.h"
#include "apps/user_folders.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string_view>

namespace apps::tsyncfinder::doctor {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds answerBound{3};

// Nemo lists the extensions that it leaves out by the names of their types.
constexpr std::string_view nemoName = "'TSyncFinderPlugin'";
// The Id of the menu plugin's metadata.
constexpr std::string_view dolphinMenu = "libtsyncfinder-dolphin";

void checkNemo(Findings& findings) {
    if (!isInPath("nemo")) return;
    const auto answer =
        runProgram({"gsettings", "get", "org.nemo.plugins", "disabled-extensions"}, answerBound);
    if (!answer || answer->status != 0 || answer->output.find(nemoName) == std::string::npos) return;
    findings.push_back({State::warning, "switch-nemo", "Nemo's own settings switch the plugin off.",
                        "If that is not wanted: Edit, Plugins, TSyncFinderPlugin; then: nemo -q"});
}

// What an entry of a KConfig file says (group and key as written, "[group]" and "key=value" lines). None: it
// has no such entry.
std::optional<std::string> entryIn(const fs::path& path, std::string_view group, std::string_view key) {
    std::ifstream file(path);
    bool isInGroup = false;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with('['))
            isInGroup = line == "[" + std::string(group) + "]";
        else if (isInGroup && line.starts_with(std::string(key) + "="))
            return line.substr(key.size() + 1);
    }
    return std::nullopt;
}

void checkDolphin(Findings& findings) {
    constexpr const char* fileName = "kservicemenurc";
    std::vector<fs::path> folders{configFolder()};
    const char* list = std::getenv("XDG_CONFIG_DIRS");
    std::istringstream system(list != nullptr && *list != '\0' ? list : "/etc/xdg");
    for (std::string folder; std::getline(system, folder, ':');)
        folders.emplace_back(folder);
    for (const fs::path& folder : folders) { // the first that says something counts
        const auto entry = entryIn(folder / fileName, "Show", dolphinMenu);
        if (!entry) continue;
        if (*entry == "false" || *entry == "0" || *entry == "off" || *entry == "no")
            findings.push_back(
                {State::warning, "switch-dolphin",
                 "Dolphin's own settings switch the menu off, in " + (folder / fileName).string() + ".",
                 "If that is not wanted: Settings, Configure Dolphin, Context Menu, TSyncFinder"});
        return;
    }
}

// Of an application's identifier "org.kde.dolphin", whether its last part begins with the program's name, as
// that of a development version does.
bool isOf(const std::string& application, std::string_view program) {
    std::string last = application.substr(application.rfind('.') + 1);
    std::transform(last.begin(), last.end(), last.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return last.starts_with(program);
}

fs::path folderIn(const char* variable, const fs::path& otherwise) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0' ? fs::path(value) : otherwise;
}

// A Flatpak sees no plugins but those that it was made with. Its folders: flatpak(1).
void checkFlatpaks(Findings& findings) {
    const fs::path folders[] = {
        folderIn("FLATPAK_SYSTEM_DIR", "/var/lib/flatpak"),
        folderIn("FLATPAK_USER_DIR", userFolder("XDG_DATA_HOME", ".local/share") / "flatpak")};
    for (const fs::path& folder : folders) {
        std::error_code error;
        for (const auto& entry : fs::directory_iterator(folder / "app", error)) {
            const std::string application = entry.path().filename().string();
            for (const FileManager& manager : fileManagers)
                if (isOf(application, manager.program))
                    findings.push_back(
                        {State::warning, "flatpak",
                         std::string(manager.name) + " is installed as a Flatpak, " + application +
                             ", which loads no plugins of the system: it shows no badges.",
                         "Use the one of the distribution: apt install " + std::string(manager.program)});
        }
    }
}

} // namespace

Findings checkSwitches() {
    Findings findings;
    checkNemo(findings);
    checkDolphin(findings);
    checkFlatpaks(findings);
    return findings;
}

} // namespace apps::tsyncfinder::doctor
