// JSON text (RFC 8259) of property-list values, for command messages, for the log and for other programs.
#pragma once

#include "platform/Value.h"

#include <optional>
#include <string>
#include <string_view>

namespace platform {

// Compact text without blanks, keys in the dictionary's order. None when a string in it is not UTF-8.
std::optional<std::string> jsonText(const Value& value);

// The same for a person to read in a log: a byte that is not UTF-8 shows as U+FFFD.
std::string jsonDescription(const Value& value);

// The value of a JSON text; none when it is malformed or nests deeper than maximumValueDepth. When a key
// occurs twice, its last entry stands.
std::optional<Value> valueOfJson(std::string_view text);

} // namespace platform
