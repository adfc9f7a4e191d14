#include "backends/dbus/name_owner.h"

#include <memory>

namespace backends::dbus {
namespace {

constexpr auto busService = "org.freedesktop.DBus";
constexpr auto busObject = "/org/freedesktop/DBus";

platform::Subscription
watch(Bus& bus, const std::string& condition,
      std::function<void(const std::string& name, const std::string& before, const std::string& after)>
          handler) {
    const auto slot = std::make_shared<sdbus::Slot>(bus.connection().addMatch(
        "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
        "member='NameOwnerChanged'," +
            condition,
        [handler = std::move(handler)](sdbus::Message& message) {
            std::string changed;
            std::string before;
            std::string after;
            message >> changed >> before >> after;
            handler(changed, before, after);
        }));
    bus.wake();
    return platform::Subscription([slot] { slot->reset(); });
}

} // namespace

platform::Subscription watchNameOwner(Bus& bus, const std::string& name, NameOwnerHandler handler) {
    return watch(bus, "arg0='" + name + "'",
                 [handler = std::move(handler)](const std::string&, const std::string& before,
                                                const std::string& after) { handler(before, after); });
}

platform::Subscription watchDepartures(Bus& bus, std::function<void(const std::string& process)> handler) {
    return watch(
        bus, "arg2=''",
        [handler = std::move(handler)](const std::string& name, const std::string&, const std::string&) {
            if (name.starts_with(':')) handler(name);
        });
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
