#include "backends/dbus/presence.h"

#include "backends/dbus/name_owner.h"

#include <future>
#include <memory>

namespace backends::dbus {

using platform::Presence;

Presence presenceOf(Bus& bus, const std::string& name, std::chrono::milliseconds bound) {
    const std::string owner = nameOwner(bus, name);
    if (owner.empty()) return Presence::absent;
    try {
        // Not a waiting call: that would hold the connection's lock, and with it every host, for the bound.
        const auto answered = std::make_shared<std::promise<bool>>();
        const auto proxy = sdbus::createProxy(bus.connection(), owner, "/");
        auto call = proxy->createMethodCall("org.freedesktop.DBus.Peer", "Ping");
        const auto pending =
            proxy->callMethod(call, [answered](sdbus::MethodReply&, const sdbus::Error* error) {
                // It has left meanwhile; any other error is an answer too.
                answered->set_value(error == nullptr ||
                                    (error->getName() != "org.freedesktop.DBus.Error.NoReply" &&
                                     error->getName() != "org.freedesktop.DBus.Error.ServiceUnknown" &&
                                     error->getName() != "org.freedesktop.DBus.Error.NameHasNoOwner"));
            });
        bus.wake();
        auto answer = answered->get_future();
        if (answer.wait_for(bound) != std::future_status::ready) return Presence::silent;
        return answer.get() ? Presence::answering : Presence::absent;
    } catch (const sdbus::Error&) {
        return Presence::absent; // the bus has gone
    }
}

} // namespace backends::dbus
