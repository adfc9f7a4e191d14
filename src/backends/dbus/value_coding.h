// Property-list values on the wire: D-Bus types to values and back.
//
// Reading takes whatever a sender put there: every basic type, variants to any content, structs as arrays.
// What nests deeper than a value may, a dictionary entry whose key is not a string, and a file descriptor are
// left out. Strings that come from the bus are UTF-8 (the bus sees to that).
//
// A value takes more memory than its bytes on the wire, up to 56 times. Reading stops with an error
// (LimitsExceeded) where the values read so far would take too much beside the message's own bytes.
//
// Source: D-Bus Specification 0.41, "Type System" and "Marshaling".
#pragma once

#include "platform/Value.h"

#include <sdbus-c++/sdbus-c++.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace backends::dbus {

// The error of a message that would take too much memory.
inline constexpr const char* limitsExceededError = "org.freedesktop.DBus.Error.LimitsExceeded";

// The memory that values may take: this much in any case, and beyond it three times what was read. With the
// message itself, 32 MiB of anything take at most 128 MiB. A status with 100,000 files in flight and details
// of each takes 45 MiB.
inline constexpr std::size_t freeValueMemory = std::size_t{64} << 20;
// The same for what can only be small: options, an environment.
inline constexpr std::size_t smallValueMemory = std::size_t{1} << 20;

// Reads the next complete item of the message, whatever it is. None when it was left out, as above; the
// message then stands behind it. Raises sdbus::Error on a malformed message.
std::optional<platform::Value> readValue(sdbus::Message& message);

// The same for a message whose next item should have the type of that signature ("s", "b", "t", "as",
// "av", "a{ss}", "a{sv}"; the two dictionaries are taken for each other). None when it has another.
std::optional<platform::Value> readValue(sdbus::Message& message, std::string_view signature,
                                         std::size_t freeMemory = freeValueMemory);

// Reads an array of strings. Raises sdbus::Error when it has more than that many.
std::vector<std::string> readTexts(sdbus::Message& message, std::size_t maximum);

// Appends the value as that type. Raises sdbus::Error (InvalidArgs) when the value does not have that type or
// a string in it is not UTF-8. Inside a{sv} and av: strings, booleans, numbers (x, t, d), arrays of nothing
// but strings as "as", other arrays as "av", dictionaries as a{sv}, the null object as the empty string.
void appendValue(sdbus::Message& message, std::string_view signature, const platform::Value& value);

} // namespace backends::dbus
