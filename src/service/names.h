// The names of both sides of a pair: the one form in which they meet, which of them are not items, and the
// names that the service itself gives.
//
// A name is one component of a path. Names of this machine are bytes, names of a storage UTF-8.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace service {

// Why a name of this machine cannot be held by any storage.
enum class NameFault {
    notText,    // not UTF-8
    control,    // a control character, or one of the signs that stand for them on some storages
    tooLong,    // more than 255 bytes
    emptyOrDot, // "", ".", ".."
};
std::optional<NameFault> faultOf(std::string_view name);

// The form in which names of both sides meet: Unicode's composed form (NFC, UAX #15), case-folded where the
// storage tells no cases apart. The name has no fault.
std::string keyOf(std::string_view name, bool foldsCase);

// Sixteen hexadecimal digits that stand for a path in names of the service's own; always the same.
std::string wordOf(std::string_view path);

// Names that belong to the service and to the system on either side, and are never items: its private ones,
// trash folders, and what file systems keep at their top.
bool isPrivate(std::string_view name);

// Everything private begins with this. On this machine's side and in the space, the folder of this name at
// the top of a pair or of the space holds what is not in its place yet, or not any more.
inline constexpr std::string_view privatePrefix = ".tsyncquenz";

// The name beside `name` under which a version is kept that somebody else's displaced:
// "a (conflict HOST 2026-11-25 141503 ab12).txt", the last word being `mark`. A conflict copy's own bracket
// is replaced; the stem is shortened at a character so that the whole has at most 255 bytes. As long as
// `isTaken` says so of a name, the next has a number behind the mark.
std::string conflictName(std::string_view name, std::string_view host, std::chrono::sys_seconds localTime,
                         std::string_view mark, const std::function<bool(const std::string&)>& isTaken);

} // namespace service
