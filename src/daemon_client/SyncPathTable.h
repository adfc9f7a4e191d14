// The synced folders as the daemon reports them.
#pragma once

#include "platform/Value.h"

#include <map>
#include <string>

namespace daemon_client {

// From remote root (an absolute path in the remote space) to local root (an absolute path on this machine),
// both as the daemon spells them. Ordered by the bytes of the remote root. Two remote roots may have the same
// local root, and roots may nest.
using SyncPathTable = std::map<std::string, std::string>;

// The table in a dictionary of the daemon's; entries that are not strings are left out.
SyncPathTable syncPathTableOf(const platform::Dictionary& entries);

} // namespace daemon_client
