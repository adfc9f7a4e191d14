// The message of the bus library under the one of its C++ binding, for what the binding has no operation for.
#pragma once

#include <sdbus-c++/sdbus-c++.h>
#include <systemd/sd-bus.h>

namespace backends::dbus {

// Borrowed: valid while the message is.
inline sd_bus_message* rawMessage(sdbus::Message& message) {
    struct Access : sdbus::Message {
        static void* of(sdbus::Message& any) { return any.*(&Access::msg_); }
    };
    return static_cast<sd_bus_message*>(Access::of(message));
}

} // namespace backends::dbus
