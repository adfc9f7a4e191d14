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

// A name, or a line of text with names in it, as a stream shows it: on a terminal each control byte, and each
// byte that is not UTF-8, is "?", so that a name cannot write to it; elsewhere, byte for byte.
std::string shownOn(int descriptor, std::string_view text);
std::string withoutControls(std::string_view text);

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
