// One recipient in the field of the share-by-email panel. A plain value.
#pragma once

#include "platform/Value.h"

#include <cstddef>
#include <optional>
#include <string>

namespace panels {

struct TSFPEmailToken {
    std::string email;
    std::optional<std::string> name; // full name from the address book, when it knows the address

    // The archive is a row of objects without keys, of which a token takes one: its name, or the null object
    // when it has none. The address is not archived.
    void encodeWithCoder(platform::Array& archive) const;

    // Reads the object at `position` and steps over it; without a text there the token has no name.
    static TSFPEmailToken initWithCoder(const platform::Array& archive, std::size_t& position);

    friend bool operator==(const TSFPEmailToken&, const TSFPEmailToken&) = default;
};

} // namespace panels
