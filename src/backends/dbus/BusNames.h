// Who is on the session bus, for a program that looks once, over a connection of its own and with bounded
// answers.
#pragma once

#include <sdbus-c++/sdbus-c++.h>
#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>

namespace backends::dbus {

class BusNames {
  public:
    // Connects. Raises sdbus::Error when there is no session bus, as do the others when it does not answer.
    BusNames();

    struct Owner {
        std::string uniqueName;
        pid_t process = 0; // 0: the bus does not know it
    };
    std::optional<Owner> owner(const std::string& name); // none: nobody owns it
    // Whether the process of a unique name handles messages. One that has stopped does not.
    bool answers(const std::string& uniqueName);
    bool isActivatable(const std::string& name); // the bus can start a program for it

  private:
    std::unique_ptr<sdbus::IConnection> connection;
    std::unique_ptr<sdbus::IProxy> proxy;
};

} // namespace backends::dbus
