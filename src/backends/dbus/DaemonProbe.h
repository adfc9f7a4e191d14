// The sync daemon as seen by a program that looks once, over a connection of its own and with bounded
// answers. Nothing is started.
#pragma once

#include "backends/dbus/BusNames.h"
#include "platform/Presence.h"
#include "platform/Value.h"

#include <optional>
#include <string>

namespace backends::dbus {

class DaemonProbe {
  public:
    // Connects and looks whether the daemon is there; that takes up to two seconds when it hangs. Raises
    // sdbus::Error when there is no session bus.
    DaemonProbe();

    platform::Presence presence() const { return found; }

    // None when the daemon does not answer within two seconds, or is not answering at all.
    std::optional<platform::Dictionary> syncStatus();
    // Whether something is under way at, above or below the path.
    std::optional<bool> isPending(const std::string& localPath);
    // Has the daemon look at all that lies at and below the path. False when it does not answer.
    bool lookAt(const std::string& localPath);
    struct Exclusion {
        bool isExcluded = false;
        bool isBase = false; // it is excluded itself, and not only by a folder above it
    };
    std::optional<Exclusion> exclusionOf(const std::string& localPath);

  private:
    std::unique_ptr<sdbus::IConnection> connection = sdbus::createSessionBusConnection();
    std::unique_ptr<sdbus::IProxy> daemon; // null when it does not answer
    platform::Presence found = platform::Presence::absent;
};

} // namespace backends::dbus
