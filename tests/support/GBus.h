// A connection of GLib's to the session bus of the environment, which nobody else in the process has.
#pragma once

#include <gio/gio.h>

namespace support {

// The caller's, for g_object_unref; null when there is no bus.
inline GDBusConnection* newBusConnection() {
    char* const address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    constexpr int flags =
        G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION;
    GDBusConnection* const bus = g_dbus_connection_new_for_address_sync(
        address, static_cast<GDBusConnectionFlags>(flags), nullptr, nullptr, nullptr);
    g_free(address);
    return bus;
}

} // namespace support
