#include "apps/tsyncfinder/doctor/checks.h"
#include "apps/tsyncfinder/doctor/processes.h"
#include "apps/tsyncfinder/sync_service.h"
#include "backends/dbus/BusNames.h"
#include "backends/dbus/FinderSync1Client.h"
#include "platform/json.h"
#include "protocol/names.h"

#include <cstdlib>

namespace apps::tsyncfinder::doctor {
namespace {

using backends::dbus::BusNames;
using Owner = BusNames::Owner;

constexpr std::chrono::seconds answerBound{2};
constexpr auto howToRestart =
    "Start it again: systemctl --user restart tsyncfinder, or end it and run: tsyncfinder run";

void checkExtension(const Owner& owner, Findings& findings) {
    if (programOf(owner.process).ends_with(" (deleted)"))
        findings.push_back({State::warning, "version",
                            "The extension that runs has been replaced by another build since it started.",
                            howToRestart});
    try {
        backends::dbus::FinderSync1Client extension(answerBound);
        const std::string version = extension.version();
        findings.push_back(
            {State::ok, "extension", describeProcess(owner.process) + " serves this session", ""});
        if (version == TSYNCFINDER_VERSION)
            findings.push_back(
                {State::ok, "version", "The extension and this program are both " + version, ""});
        else
            findings.push_back(
                {State::problem, "version",
                 "The extension is version " + version + ", this program is " TSYNCFINDER_VERSION ".",
                 howToRestart});
        const platform::Dictionary status = extension.status();
        if (!platform::flagAt(status, "tableKnown").value_or(true))
            findings.push_back({State::warning, "sync-paths",
                                "The daemon has not told yet which folders are synced: nothing has a badge.",
                                lookAtSyncService().advice});
    } catch (const hosts::terminal::ExtensionError& error) {
        findings.push_back({State::problem, "extension", describeProcess(owner.process) + ": " + error.what(),
                            howToRestart});
    }
}

} // namespace

Findings checkBus() {
    Findings findings;
    std::optional<BusNames> names;
    try {
        names.emplace();
    } catch (const sdbus::Error& error) {
        return {{State::problem, "bus", "There is no session bus: " + error.getMessage(),
                 "Run this in a desktop session, or under: dbus-run-session"}};
    }
    const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    findings.push_back(
        {State::ok, "bus",
         "The session bus answers" + (address != nullptr ? ": " + std::string(address) : std::string()), ""});
    const bool isActivatable = names->isActivatable(FINDER_SYNC_BUS_NAME);
    if (isActivatable)
        findings.push_back({State::ok, "activation", "The bus knows how to start the extension", ""});
    else
        findings.push_back(
            {State::warning, "activation",
             "The bus does not know how to start the extension: a file manager cannot ask for it.",
             "Install the package tsyncfinder, then log in again."});
    if (const auto extension = names->owner(FINDER_SYNC_BUS_NAME))
        checkExtension(*extension, findings);
    else
        findings.push_back({isActivatable ? State::warning : State::problem, "extension",
                            "The extension does not run in this session.",
                            "Start it: systemctl --user start tsyncfinder, or: tsyncfinder run"});
    const auto daemon = names->owner(TSYNC_SERVICE_NAME);
    if (daemon && names->answers(daemon->uniqueName))
        findings.push_back(
            {State::ok, "daemon", describeProcess(daemon->process) + " owns the sync daemon's name", ""});
    else if (daemon)
        findings.push_back(
            {State::problem, "daemon",
             describeProcess(daemon->process) + " owns the sync daemon's name and does not answer.",
             "Start the sync service again."});
    else
        findings.push_back({State::warning, "daemon",
                            "Nobody owns the sync daemon's name, " TSYNC_SERVICE_NAME
                            ": badges show what was known last.",
                            lookAtSyncService().advice});
    return findings;
}

} // namespace apps::tsyncfinder::doctor
