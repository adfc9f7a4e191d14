#include "apps/tsyncfinder/doctor/checks.h"
#include "apps/tsyncfinder/doctor/run_program.h"
#include "apps/tsyncfinder/installation.h"
#include "apps/tsyncfinder/settings.h"
#include "apps/unit.h"
#include "apps/user_folders.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace apps::tsyncfinder::doctor {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds answerBound{3};
constexpr auto autostartEntry = "autostart/tsyncfinder-autostart.desktop";

std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

// Where no manager runs, systemctl answers from the files, so that its answer does not tell whether one does.
bool hasUserManager() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    std::error_code error;
    return runtime != nullptr && fs::exists(fs::path(runtime) / "systemd/private", error);
}

Finding checkUnit(bool hasManager) {
    if (const std::string mask = maskOfUnit(unitName); !mask.empty())
        return {State::warning, "unit", "The unit is masked, by " + mask + ": the extension does not start.",
                "If that is not wanted: systemctl --user unmask " + std::string(unitName)};
    if (!hasManager)
        return {State::ok, "unit", "No systemd user manager runs in this session: the autostart entry counts",
                ""};
    const auto answer = runProgram({"systemctl", "--user", "is-enabled", unitName}, answerBound);
    if (!answer)
        return {State::warning, "unit", "systemctl does not answer.",
                "Look at: systemctl --user status " + std::string(unitName)};
    const std::string state = firstLine(answer->output);
    if (state.starts_with("enabled")) // or for this boot only, "enabled-runtime"
        return {State::ok, "unit",
                std::string(unitName) + " is enabled: the extension starts with the session", ""};
    if (state == "disabled")
        return {
            State::warning, "unit",
            std::string(unitName) +
                " is disabled: the extension starts neither with the session nor when a file manager asks.",
            "If that is not wanted: systemctl --user enable --now " + std::string(unitName)};
    if (state.starts_with("masked"))
        return {State::warning, "unit", std::string(unitName) + " is masked: the extension does not start.",
                "If that is not wanted: systemctl --user unmask " + std::string(unitName)};
    return {State::problem, "unit", "systemd does not know the unit: " + state,
            "Install the package tsyncfinder, then: systemctl --user daemon-reload"};
}

Finding checkAutostart(bool hasManager) {
    std::vector<fs::path> folders{configFolder()};
    const char* list = std::getenv("XDG_CONFIG_DIRS");
    std::istringstream system(list != nullptr && *list != '\0' ? list : "/etc/xdg");
    for (std::string folder; std::getline(system, folder, ':');)
        folders.emplace_back(folder);
    for (const fs::path& folder : folders) {
        std::ifstream entry(folder / autostartEntry);
        if (!entry) continue;
        for (std::string line; std::getline(entry, line);)
            if (line.starts_with("Hidden=true") || line.starts_with("X-GNOME-Autostart-enabled=false"))
                return {State::warning, "autostart",
                        (folder / autostartEntry).string() + " switches the start with the session off.",
                        "If that is not wanted, remove it."};
        return {State::ok, "autostart", (folder / autostartEntry).string(), ""};
    }
    const State state = hasManager ? State::warning : State::problem;
    const fs::path elsewhere = fs::path(installationPrefix()) / "etc/xdg" / autostartEntry;
    std::error_code error;
    if (fs::exists(elsewhere, error))
        return {state, "autostart",
                "The autostart entry lies in vain at " + elsewhere.string() +
                    ": sessions without systemd look into " + folders.back().string() + "/autostart.",
                "Link it: ln -s " + elsewhere.string() + " " + folders.back().string() + "/autostart/"};
    return {state, "autostart", "There is no autostart entry for sessions without systemd.",
            "Install the package tsyncfinder"};
}

} // namespace

Findings checkStart() {
    const bool hasManager = hasUserManager();
    return {checkUnit(hasManager), checkAutostart(hasManager)};
}

Findings checkSettings() {
    Findings findings;
    const SettingsRead read = readSettings();
    for (const std::string& complaint : read.complaints)
        findings.push_back({read.isReadable ? State::warning : State::problem, "settings", complaint,
                            "Mend the file, or remove it for the default settings."});
    for (const char* key : {"autostart", "badges", "menu"})
        if (read[key] == "off")
            findings.push_back({State::warning, "settings", "\"" + std::string(key) + "\" is off.",
                                "If that is not wanted: tsyncfinder config " + std::string(key) + " on"});
    if (findings.empty()) findings.push_back({State::ok, "settings", settingsFile(), ""});
    return findings;
}

Findings checkPanel() {
    const std::string program = panelProgram();
    if (::access(program.c_str(), X_OK) == 0) return {{State::ok, "panel", program, ""}};
    return {{State::problem, "panel", program + " is missing: commands that ask for a folder or people fail.",
             "Install the package tsyncfinder"}};
}

} // namespace apps::tsyncfinder::doctor
