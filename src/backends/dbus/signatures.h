// Signatures of several complete types, taken apart.
//
// Source: D-Bus Specification 0.41, "Type System".
#pragma once

#include <algorithm>
#include <string_view>
#include <vector>

namespace backends::dbus {

// "sba{sv}" gives "s", "b", "a{sv}". Handles what the daemon's protocol uses: basic types, arrays, and
// dictionaries of basic types. The parts borrow from the signature.
inline std::vector<std::string_view> completeTypes(std::string_view signature) {
    std::vector<std::string_view> types;
    while (!signature.empty()) {
        std::size_t length = std::min(signature.find_first_not_of('a'), signature.size() - 1) + 1;
        if (signature[length - 1] == '{') length = signature.find('}') + 1;
        types.push_back(signature.substr(0, length));
        signature.remove_prefix(length);
    }
    return types;
}

} // namespace backends::dbus
