// What any process of the session may put into a message of the bus. Input: a program that builds it, a byte
// a step; the bus library sees to it that the message is well-formed. What is read stays within its memory,
// can be sent on, and is then read as the same.
#include "backends/dbus/raw_message.h"
#include "backends/dbus/value_coding.h"
#include "fuzz/require.h"
#include "platform/json.h"
#include "tests/support/PrivateBus.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace {

using backends::dbus::rawMessage;
using backends::dbus::readValue;

constexpr std::array texts{"",          "a", "/Cloud/a file",
                           "syncPaths", "ä", "a longer text that needs memory of its own"};
constexpr std::array types{"s", "b", "y", "n", "q", "i", "u", "x", "t", "d", "o", "g"};

class Builder {
  public:
    Builder(sd_bus_message* target, const uint8_t* bytes, size_t length)
        : message(target), at(bytes), end(bytes + length) {}

    void entries(int depth) {
        require(sd_bus_message_open_container(message, 'a', "{sv}") >= 0);
        for (unsigned count = next() % 16; count > 0; --count) {
            require(sd_bus_message_open_container(message, 'e', "sv") >= 0);
            require(sd_bus_message_append_basic(message, 's', text()) >= 0);
            variant(depth + 1);
            require(sd_bus_message_close_container(message) >= 0);
        }
        require(sd_bus_message_close_container(message) >= 0);
    }

  private:
    unsigned next() { return at == end ? 0 : *at++; }
    const char* text() { return texts[next() % texts.size()]; }

    void basic(char type) {
        const uint64_t number = next() % 0xffU * 0x0101010101010101U; // no double that differs from itself
        const int boolean = next() % 2 == 0 ? 0 : 1;
        const void* value = &number;
        if (type == 's') value = text();
        if (type == 'o') value = "/org/example";
        if (type == 'g') value = "a{sv}";
        if (type == 'b') value = &boolean;
        require(sd_bus_message_append_basic(message, type, value) >= 0);
    }

    void variant(int depth) {
        constexpr int deepest = 24; // the bus ends at 64 of one kind
        const unsigned kind = depth < deepest ? next() % 6 : 0;
        const char* const type = types[next() % types.size()];
        const std::string array = std::string("a") + type;
        constexpr std::array containers{"a{sv}", "av", "(sv)"};
        const std::string signature = kind < 2 ? type : kind == 2 ? array : containers[kind - 3];
        require(sd_bus_message_open_container(message, 'v', signature.c_str()) >= 0);
        if (kind < 2) {
            basic(type[0]);
        } else if (kind == 3) {
            entries(depth);
        } else if (kind == 5) {
            require(sd_bus_message_open_container(message, 'r', "sv") >= 0);
            basic('s');
            variant(depth + 1);
            require(sd_bus_message_close_container(message) >= 0);
        } else {
            require(sd_bus_message_open_container(message, 'a', kind == 2 ? type : "v") >= 0);
            for (unsigned count = next() % 16; count > 0; --count)
                kind == 2 ? basic(type[0]) : variant(depth + 1);
            require(sd_bus_message_close_container(message) >= 0);
        }
        require(sd_bus_message_close_container(message) >= 0);
    }

    sd_bus_message* message;
    const uint8_t* at;
    const uint8_t* end;
};

// Messages are made by an object of a bus; none is sent.
sdbus::Signal newMessage() {
    static const support::PrivateBus bus; // named in the environment
    static const auto connection = sdbus::createSessionBusConnection();
    static const auto object = sdbus::createObject(*connection, "/fuzz");
    return object->createSignal("an.interface", "Unsent");
}

void seal(sdbus::Message& message) {
    message.seal();
    message.rewind(true);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto sent = newMessage();
    Builder(rawMessage(sent), data, size).entries(0);
    seal(sent);
    std::optional<platform::Value> read;
    try {
        read = readValue(sent, "a{sv}");
    } catch (const sdbus::Error& error) {
        require(error.getName() == backends::dbus::limitsExceededError);
        return 0;
    }
    require(read.has_value());
    static_cast<void>(platform::jsonDescription(*read));
    auto passedOn = newMessage();
    backends::dbus::appendValue(passedOn, "a{sv}", *read);
    seal(passedOn);
    const auto again = readValue(passedOn, "a{sv}");
    require(again == read);
    return 0;
}
