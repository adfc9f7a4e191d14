// One vCard (RFC 6350, and the older versions 2.1 and 3.0).
#pragma once

#include "platform/AddressBook.h"

#include <optional>
#include <string>

namespace backends::contacts {

// Whom a card is about; none: it is no card. Without the parts of a name the formatted name is the first one.
std::optional<platform::Person> personOf(const std::string& card);

} // namespace backends::contacts
