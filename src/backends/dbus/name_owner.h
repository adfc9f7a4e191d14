// Who owns a name on the bus.
#pragma once

#include "backends/dbus/Bus.h"
#include "platform/Subscription.h"

#include <functional>
#include <string>

namespace backends::dbus {

// The unique names of the former and the new owner; empty: nobody.
using NameOwnerHandler = std::function<void(const std::string& before, const std::string& after)>;

// Calls the handler on the bus thread whenever the name changes its owner. A name may be a well-known or a
// unique one.
[[nodiscard]] platform::Subscription watchNameOwner(Bus& bus, const std::string& name,
                                                    NameOwnerHandler handler);

// Calls the handler on the bus thread with the unique name of each process that leaves the bus.
[[nodiscard]] platform::Subscription watchDepartures(Bus& bus,
                                                     std::function<void(const std::string& process)> handler);

// The unique name of the owner, empty when there is none. Asks the bus and waits for its answer.
std::string nameOwner(Bus& bus, const std::string& name);

} // namespace backends::dbus
