// Property-list values on the wire: D-Bus types to values and back.
//
// Reading takes whatever a sender put there: every basic type, variants to any content, structs as arrays.
// What nests deeper than a value may, a dictionary entry whose key is not a string, and a file descriptor are
// left out. Strings that come from the bus are UTF-8 (the bus sees to that).
//
// A value takes more memory than its bytes on the wire, up to 40 times. So a value is measured before
// anything of it is built, and reading ends with an error (LimitsExceeded) when it would take more than three
// times its bytes on the wire: with the message itself at most four times the message.
//
// Source: D-Bus Specification 0.41, "Type System" and "Marshaling".
#pragma once

#include "platform/Value.h"

#include <sdbus-c++/sdbus-c++.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace backends::dbus {

// The error of a message that would take too much memory.
inline constexpr const char* limitsExceededError = "org.freedesktop.DBus.Error.LimitsExceeded";

// The memory that the values of a message may take for each byte on the wire. What travels takes less: paths
// in a list up to 3 bytes, a table of roots 2.8, files in flight with their sizes 2.9.
inline constexpr std::size_t valueMemoryPerByte = 3;
// A message may take so much in any case: what is as small does no harm, whatever is in it.
inline constexpr std::size_t freeValueMemory = std::size_t{256} << 10;
// And at most so much what can only be small: options, an environment.
inline constexpr std::size_t smallValueMemory = std::size_t{1} << 20;

// Reads the next complete item of the message, which should have the type of that signature ("s", "b", "t",
// "as", "av", "a{ss}", "a{sv}"; the two dictionaries are taken for each other). None when it has another, and
// the message then stands before it. Raises sdbus::Error on a malformed message.
std::optional<platform::Value> readValue(sdbus::Message& message, std::string_view signature,
                                         std::size_t mostMemory = SIZE_MAX);

// Reads an array of strings. Raises sdbus::Error when it has more than that many, or they would take too much
// memory.
std::vector<std::string> readTexts(sdbus::Message& message, std::size_t maximum);

// Appends the value as that type. Raises sdbus::Error (InvalidArgs) when the value does not have that type or
// a string in it is not UTF-8. Inside a{sv} and av: strings, booleans, numbers (x, t, d), arrays of nothing
// but strings as "as", other arrays as "av", dictionaries as a{sv}, the null object as the empty string.
void appendValue(sdbus::Message& message, std::string_view signature, const platform::Value& value);

} // namespace backends::dbus
