// What the tool prints on standard output.
#pragma once

#include "apps/dirsnapshot/LsColors.h"
#include "platform/Value.h"
#include "snapshot/DSNode.h"

#include <string>
#include <string_view>

namespace dirsnapshot_tool {

void printJson(const platform::Value& value);

// {"path","type","size","modified","started"}
platform::Value itemValue(std::string_view path, const DSNode& node);

// One line for people: kind, size, local modification time with its distance from UTC, path.
// The path is plain without colours.
std::string itemLine(std::string_view path, const DSNode& node, const LsColors* colours);

// The 20 bytes of a digest as 40 hexadecimal digits.
std::string hexDigest(const uint8_t* digest);

// The bytes of such a text into 20 of the caller's. False when it is not one.
bool digestOfHex(std::string_view text, uint8_t* digest);

// A line as sha1sum prints it: a name with a backslash or a line break is escaped, behind a leading
// backslash.
std::string digestLine(std::string_view digest, std::string_view name);

// Whether everything printed reached standard output; otherwise after a message.
bool flushOutput();

} // namespace dirsnapshot_tool
