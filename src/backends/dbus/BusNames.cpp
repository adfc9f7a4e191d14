#include "backends/dbus/BusNames.h"

#include "backends/dbus/Bus.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <vector>

namespace backends::dbus {
namespace {

constexpr auto busService = "org.freedesktop.DBus";
constexpr std::chrono::seconds answerBound{2};

} // namespace

BusNames::BusNames()
    : connection(sdbus::createSessionBusConnection()),
      proxy(sdbus::createProxy(*connection, busService, "/org/freedesktop/DBus")) {}

std::optional<BusNames::Owner> BusNames::owner(const std::string& name) {
    const auto ask = [this](const char* method, const std::string& argument, auto& answer) {
        try {
            proxy->callMethod(method)
                .onInterface(busService)
                .withTimeout(answerBound)
                .withArguments(argument)
                .storeResultsTo(answer);
            return true;
        } catch (const sdbus::Error& error) {
            // Asked for a name that nobody owns, or for the process of one that has just gone.
            if (error.getName() != "org.freedesktop.DBus.Error.NameHasNoOwner" &&
                error.getName() != "org.freedesktop.DBus.Error.UnixProcessIdUnknown")
                throw;
            return false;
        }
    };
    Owner owner;
    if (!ask("GetNameOwner", name, owner.uniqueName)) return std::nullopt;
    std::uint32_t process = 0;
    if (ask("GetConnectionUnixProcessID", owner.uniqueName, process))
        owner.process = static_cast<pid_t>(process);
    return owner;
}

bool BusNames::answers(const std::string& uniqueName) {
    try {
        sdbus::createProxy(*connection, uniqueName, "/")
            ->callMethod("Ping")
            .onInterface("org.freedesktop.DBus.Peer")
            .withTimeout(answerBound);
        return true;
    } catch (const sdbus::Error& error) {
        return !isWithoutAnswer(error);
    }
}

bool BusNames::isActivatable(const std::string& name) {
    std::vector<std::string> names;
    proxy->callMethod("ListActivatableNames")
        .onInterface(busService)
        .withTimeout(answerBound)
        .storeResultsTo(names);
    return std::find(names.begin(), names.end(), name) != names.end();
}

} // namespace backends::dbus
