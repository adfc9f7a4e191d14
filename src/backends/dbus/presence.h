// Whether the owner of a name on the bus handles messages.
#pragma once

#include "backends/dbus/Bus.h"
#include "platform/Presence.h"

#include <chrono>
#include <string>

namespace backends::dbus {

// Asks the bus for the owner, and the owner for a sign of life (Ping of org.freedesktop.DBus.Peer, which
// every process that reads its messages answers), and waits, for the latter at most the bound. Starts
// nothing. Not to be called on the bus thread.
platform::Presence presenceOf(Bus& bus, const std::string& name, std::chrono::milliseconds bound);

} // namespace backends::dbus
