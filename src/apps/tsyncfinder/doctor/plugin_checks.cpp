#include "apps/tsyncfinder/doctor/checks.h"
#include "apps/tsyncfinder/doctor/file_managers.h"
#include "apps/tsyncfinder/doctor/processes.h"
#include "apps/tsyncfinder/doctor/run_program.h"
#include "apps/tsyncfinder/installation.h"
#include "backends/dbus/BusNames.h"
#include "backends/dbus/FinderSync1Client.h"
#include "platform/json.h"
#include "protocol/names.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

namespace apps::tsyncfinder::doctor {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds answerBound{2};
// A plugin that has held its file manager up for so many microseconds is felt.
constexpr std::uint64_t muchTooLong = 100'000;

// The version that is written in a plugin's file; "": it has none.
std::string versionIn(const fs::path& plugin) {
    constexpr std::string_view label = "tsyncfinder-plugin-version=";
    std::ifstream file(plugin, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const std::size_t start = content.find(label);
    if (start == std::string::npos) return {};
    return content.substr(start + label.size(), content.find('\0', start) - start - label.size());
}

// The processes that have told the extension which folders they show, and how long, in microseconds, the
// plugin has held each up at the longest; 0: never for a millisecond.
std::map<pid_t, std::uint64_t> connectedProcesses() {
    std::map<pid_t, std::uint64_t> processes;
    try {
        backends::dbus::BusNames names;
        if (!names.owner(FINDER_SYNC_BUS_NAME)) return processes;
        const platform::Dictionary status = backends::dbus::FinderSync1Client(answerBound).status();
        const std::vector<std::string> hosts = platform::textsAt(status, "hostNames");
        const platform::Array* longest = platform::arrayAt(status, "hostsHeldUp");
        for (std::size_t i = 0; i < hosts.size(); ++i) {
            const auto owner = names.owner(hosts[i]);
            if (!owner) continue;
            const bool isTold = longest != nullptr && i < longest->size();
            const std::uint64_t* time = isTold ? (*longest)[i].unsignedInteger() : nullptr;
            processes.emplace(owner->process, time != nullptr ? *time : 0);
        }
    } catch (const sdbus::Error&) {
        // Their own checks tell what is wrong with the bus or the extension.
    } catch (const hosts::terminal::ExtensionError&) {
    }
    return processes;
}

fs::path extensionFolder(const FileManager& manager) {
    const char* other = *manager.variable != '\0' ? std::getenv(manager.variable) : nullptr;
    if (other != nullptr && *other != '\0')
        return std::string(other).substr(0, std::string_view(other).find(':'));
    return manager.folder;
}

std::string restartOf(const FileManager& manager) {
    return std::string(manager.quit) + "; " + manager.program;
}

// About a plugin that is not where its file manager looks.
Finding checkAbsent(const FileManager& manager, const fs::path& file) {
    const std::string check = "plugin-" + std::string(manager.program);
    const fs::path elsewhere = fs::path(installationPrefix()) / manager.belowPrefix / file.filename();
    std::error_code error;
    if (elsewhere != file && fs::exists(elsewhere, error))
        return {State::problem, check,
                "The plugin lies in vain at " + elsewhere.string() + ": " + manager.name + " looks into " +
                    file.parent_path().string() + ".",
                "Link it: ln -s " + elsewhere.string() + " " + file.parent_path().string() +
                    "/ and start again: " + restartOf(manager)};
    if (isInPath(manager.program))
        return {State::warning, check,
                std::string(manager.name) + (manager.showsBadges ? " has no plugin: it shows no badges."
                                                                 : " has no plugin: it has no menu."),
                "Install the package " + std::string(manager.program) + "-tsyncfinder"};
    return {State::ok, check, std::string(manager.name) + " is not installed", ""};
}

// What the processes of a file manager have of an installed plugin.
Finding checkLoaded(const FileManager& manager, const std::string& plugin, const std::string& installed) {
    const std::string check = "plugin-" + std::string(manager.program);
    const std::string restart = "Start it again: " + restartOf(manager);
    const std::vector<pid_t> processes = processesRunning(manager.program);
    // It has no place for a plugin's emblems, and what it would show instead would stay on the files for
    // good.
    const std::string limits =
        manager.showsBadges ? ""
                            : "; " + std::string(manager.name) + " shows no badges, only the menu and a page";
    if (processes.empty())
        return {State::ok, check, installed + "; " + manager.name + " does not run" + limits, ""};
    const std::map<pid_t, std::uint64_t> connected = connectedProcesses();
    bool isConnected = false;
    std::uint64_t longest = 0; // microseconds
    for (const pid_t process : processes) {
        const std::string mapped = mappedFile(process, plugin);
        if (mapped.empty())
            return {State::problem, check,
                    installed + ", but " + describeProcess(process) + " has not loaded it.", restart};
        if (mapped.ends_with(" (deleted)"))
            return {State::warning, check,
                    installed + ", but " + describeProcess(process) + " has loaded a former one.", restart};
        const auto told = connected.find(process);
        if (told == connected.end()) continue;
        isConnected = true;
        longest = std::max(longest, told->second);
    }
    const std::string held =
        longest == 0 ? "" : ", and held it up for " + std::to_string(longest / 1000) + " ms at the longest";
    if (longest >= muchTooLong)
        return {State::warning, check,
                installed + " and loaded; it shows folders to the extension" + held + ".",
                "Please report it, with what this prints: tsyncfinder doctor --report"};
    return {State::ok, check,
            installed + " and loaded; " +
                (isConnected ? "it shows folders to the extension" + held
                             : "it shows no folder to the extension now") +
                limits,
            ""};
}

} // namespace

Findings checkPlugins() {
    Findings findings;
    bool isAnyInstalled = false;
    std::error_code error;
    for (const FileManager& manager : fileManagers) {
        const std::string check = "plugin-" + std::string(manager.program);
        const std::string plugin = "libtsyncfinder-" + std::string(manager.program) + ".so";
        const fs::path file = extensionFolder(manager) / plugin;
        if (!fs::exists(file, error)) {
            findings.push_back(checkAbsent(manager, file));
            isAnyInstalled = isAnyInstalled || findings.back().state == State::problem; // in vain
            continue;
        }
        isAnyInstalled = true;
        const std::string version = versionIn(file);
        if (version != TSYNCFINDER_VERSION) {
            findings.push_back(
                {State::problem, check,
                 file.string() + " is version " + (version.empty() ? "unknown" : version) +
                     ", this program is " TSYNCFINDER_VERSION ".",
                 "Install the same version of the package " + std::string(manager.program) + "-tsyncfinder"});
            continue;
        }
        findings.push_back(checkLoaded(manager, plugin, "version " + version + " is installed"));
    }
    if (!isAnyInstalled)
        findings.push_back(
            {State::problem, "plugins", "No file manager has the plugin.",
             "Install nautilus-tsyncfinder, nemo-tsyncfinder, caja-tsyncfinder, dolphin-tsyncfinder or "
             "thunar-tsyncfinder"});
    return findings;
}

} // namespace apps::tsyncfinder::doctor
