// A desktop on the session bus that keeps the texts of its notifications, each behind the number of the one
// that it replaces. For one thread; it answers only while it is asked.
#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace support {

class Desktop {
  public:
    Desktop() : object(sdbus::createObject(*connection, "/org/freedesktop/Notifications")) {
        object->registerMethod(
            "org.freedesktop.Notifications", "Notify", "susssasa{sv}i", "u", [this](sdbus::MethodCall call) {
                std::string program, icon, title, body;
                std::uint32_t replaced = 0;
                call >> program >> replaced >> icon >> title >> body;
                bodies.push_back(replaced == 0 ? body : std::to_string(replaced) + " " + body);
                auto reply = call.createReply();
                reply << number;
                reply.send();
            });
        object->registerSignal("org.freedesktop.Notifications", "NotificationClosed", "uu",
                               std::vector<std::string>{});
        object->finishRegistration();
        connection->requestName("org.freedesktop.Notifications");
    }
    void closeThem() {
        auto signal = object->createSignal("org.freedesktop.Notifications", "NotificationClosed");
        signal << number << std::uint32_t{1};
        object->emitSignal(signal);
    }
    std::vector<std::string> take() {
        while (connection->processPendingRequest()) {
        }
        return std::exchange(bodies, {});
    }

  private:
    std::unique_ptr<sdbus::IConnection> connection = sdbus::createSessionBusConnection();
    std::unique_ptr<sdbus::IObject> object;
    std::vector<std::string> bodies;
    const std::uint32_t number = 7; // of every notification
};

} // namespace support
