#include "backends/dbus/name_owner.h"

#include <memory>

namespace backends::dbus {
namespace {

constexpr auto busService = "org.freedesktop.DBus";
constexpr auto busObject = "/org/freedesktop/DBus";

} // namespace

platform::Subscription watchNameOwner(Bus& bus, const std::string& name, NameOwnerHandler handler) {
    const auto slot = std::make_shared<sdbus::Slot>(bus.connection().addMatch(
        "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
        "member='NameOwnerChanged',arg0='" +
            name + "'",
        [handler = std::move(handler)](sdbus::Message& message) {
            std::string changed;
            std::string before;
            std::string after;
            message >> changed >> before >> after;
            handler(before, after);
        }));
    bus.wake();
    return platform::Subscription([slot] { slot->reset(); });
}

std::string nameOwner(Bus& bus, const std::string& name) {
    const auto proxy = sdbus::createProxy(bus.connection(), busService, busObject);
    std::string owner;
    try {
        proxy->callMethod("GetNameOwner").onInterface(busService).withArguments(name).storeResultsTo(owner);
    } catch (const sdbus::Error&) {
        owner.clear(); // nobody owns it
    }
    bus.wake();
    return owner;
}

} // namespace backends::dbus
