// What assistive programs are told of a program's windows, read over AT-SPI as a screen reader does.
#pragma once

#include "tests/support/Programs.h"

#include <sdbus-c++/sdbus-c++.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace support {

// The bus of assistive technology, on the session bus and the display of the test, which stand before this
// object; programs that are started after it serve it.
class AccessibleTree {
  public:
    struct Node {
        std::string text; // "role|name|action,action"
        std::vector<std::string> actions;
        std::string service, path;
    };

    AccessibleTree() {
        ::setenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1", 1);
        const auto session = sdbus::createSessionBusConnection();
        const bool isThere = eventually([&] {
            try {
                std::string address;
                sdbus::createProxy(*session, "org.a11y.Bus", "/org/a11y/bus")
                    ->callMethod("GetAddress")
                    .onInterface("org.a11y.Bus")
                    .storeResultsTo(address);
                connection = sdbus::createSessionBusConnectionWithAddress(address);
                return true;
            } catch (const sdbus::Error&) {
                return false;
            }
        });
        if (!isThere) throw std::runtime_error("the bus of assistive technology did not start");
    }
    ~AccessibleTree() {
        ::unsetenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON");
        launcher.end(SIGTERM); // its bus ends with it
    }

    // What is on the screen, parents before their children. A node that goes meanwhile is left out.
    std::vector<Node> nodes() {
        std::vector<Node> found;
        collect("org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root", found);
        return found;
    }

    // Waits for a node with that text.
    std::optional<Node> find(const std::string& text) {
        std::optional<Node> wanted;
        eventually([&] {
            for (Node& node : nodes())
                if (node.text == text) wanted = std::move(node);
            return wanted.has_value();
        });
        return wanted;
    }

    void perform(const Node& node, const std::string& wanted) {
        const auto at = std::find(node.actions.begin(), node.actions.end(), wanted) - node.actions.begin();
        bool isDone = false;
        object(node.service, node.path)
            ->callMethod("DoAction")
            .onInterface(action)
            .withArguments(static_cast<std::int32_t>(at))
            .storeResultsTo(isDone);
    }

  private:
    using Reference = sdbus::Struct<std::string, sdbus::ObjectPath>;
    static constexpr auto accessible = "org.a11y.atspi.Accessible";
    static constexpr auto action = "org.a11y.atspi.Action";
    static constexpr unsigned showing = 25; // the state's number

    std::unique_ptr<sdbus::IProxy> object(const std::string& service, const std::string& path) {
        return sdbus::createProxy(*connection, service, path);
    }

    void collect(const std::string& service, const std::string& path, std::vector<Node>& found) {
        try {
            const auto proxy = object(service, path);
            std::vector<std::uint32_t> states;
            std::vector<Reference> children;
            proxy->callMethod("GetState").onInterface(accessible).storeResultsTo(states);
            proxy->callMethod("GetChildren").onInterface(accessible).storeResultsTo(children);
            if ((states.at(0) >> showing & 1U) != 0) found.push_back(node(*proxy, service, path));
            for (const Reference& child : children)
                collect(std::get<0>(child), std::get<1>(child), found);
        } catch (const sdbus::Error&) { // it has gone
        }
    }

    static Node node(sdbus::IProxy& proxy, const std::string& service, const std::string& path) {
        Node read{{}, {}, service, path};
        proxy.callMethod("GetRoleName").onInterface(accessible).storeResultsTo(read.text);
        read.text += "|" + proxy.getProperty("Name").onInterface(accessible).get<std::string>() + "|";
        std::vector<std::string> interfaces;
        proxy.callMethod("GetInterfaces").onInterface(accessible).storeResultsTo(interfaces);
        if (std::find(interfaces.begin(), interfaces.end(), action) == interfaces.end()) return read;
        std::vector<sdbus::Struct<std::string, std::string, std::string>> actions; // name, explanation, keys
        proxy.callMethod("GetActions").onInterface(action).storeResultsTo(actions);
        for (const auto& each : actions) {
            if (!read.actions.empty()) read.text += ",";
            read.text += std::get<0>(each);
            read.actions.push_back(std::get<0>(each));
        }
        return read;
    }

    Program launcher{{AT_SPI_LAUNCHER, "--launch-immediately"}};
    std::unique_ptr<sdbus::IConnection> connection;
};

} // namespace support
