// Moves within a space to names that may be anybody's.
#pragma once

#include "service/RemoteSpace.h"

#include <stop_token>
#include <string>

namespace service {

// Whether an item of the space is there. What the storage says of a missing folder above it counts as well.
Outcome<bool> isInSpace(RemoteSpace& space, const std::string& path, const std::stop_token& stop);

// Moves an item, unless something has the name: that stays as it is, the item lies where it was, and the
// failure is one of `missing`. Another computer may take the name at any moment, so it is the item's old
// name that tells what came of it. After any other failure nobody knows.
Outcome<Done> moveIfFree(RemoteSpace& space, const std::string& from, const std::string& to, bool isFolder,
                         const std::stop_token& stop);

} // namespace service
