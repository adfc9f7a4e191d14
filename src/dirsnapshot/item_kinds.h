// Kinds of nodes and the platform's file types.
#pragma once

#include "platform/Value.h"
#include "snapshot/DSNode.h"

#include <cstdint>
#include <string_view>

namespace dirsnapshot {

// The platform's type of a kind; every kind but directories and links is regular.
const char* fileTypeOf(std::uint8_t kind);

// The kind of an item by its file information; DSNodeTypeOther when the type is missing or unknown.
std::uint8_t kindOf(const platform::Dictionary& fileInfo);

// A size or date of a file information as a whole number: fractions are cut off toward zero, what is beyond
// the range becomes its limit; 0 when it is missing or not a number.
std::int64_t wholeNumber(const platform::Dictionary& fileInfo, std::string_view key);

} // namespace dirsnapshot
