#include "apps/tsyncfinder/sync_service.h"

#include "apps/tsyncfinder/installation.h"
#include "apps/tsyncquenz/settings.h"
#include "backends/dbus/BusNames.h"
#include "backends/dbus/SyncServiceInterface.h"
#include "protocol/names.h"

#include <cstdlib>
#include <sstream>
#include <unistd.h>

namespace apps::tsyncfinder {
namespace {

constexpr std::chrono::seconds answerBound{2};

// Beside this program or in PATH.
bool isInstalled() {
    const char* path = std::getenv("PATH");
    std::istringstream folders(installationPrefix() + "/bin:" + (path != nullptr ? path : ""));
    for (std::string folder; std::getline(folders, folder, ':');)
        if (::access((folder + "/tsyncquenz").c_str(), X_OK) == 0) return true;
    return false;
}

std::string adviceFor(const SyncService& service) {
    if (service.status) return {};
    if (service.hasOtherDaemon)
        return service.storage ? "End it, then: systemctl --user start tsyncquenz, or: tsyncquenz run" : "";
    if (!service.isInstalled) return "Install the package tsyncquenz, then: tsyncquenz setup";
    if (!service.storage) return "Choose a storage: tsyncquenz setup";
    return "Start it: systemctl --user start tsyncquenz, or: tsyncquenz run";
}

} // namespace

SyncService lookAtSyncService() {
    SyncService service;
    service.isInstalled = isInstalled();
    try {
        service.storage = tsyncquenz::storage();
    } catch (const std::runtime_error&) {
        service.storage = std::nullopt; // the service says what is wrong with the file
    }
    try {
        service.hasOtherDaemon = backends::dbus::BusNames().owner(TSYNC_SERVICE_NAME).has_value();
        if (service.hasOtherDaemon) service.status = backends::dbus::SyncServiceClient(answerBound).status();
        if (service.status) service.hasOtherDaemon = false;
    } catch (const std::exception&) {
        service.status = std::nullopt; // no bus, or another daemon
    }
    service.advice = adviceFor(service);
    return service;
}

} // namespace apps::tsyncfinder
