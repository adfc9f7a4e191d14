// The desktop's secret store over its Secret Service interface on the session bus (GNOME Keyring, KWallet,
// KeePassXC, …).
//
// An entry is an item with the attributes "service", "account" and "comment" of the generic schema, and the
// service name as its label, so that other programs of the desktop show and find it; an item of another
// program with a "service" attribute is an entry too. Each call connects for itself: the store may start,
// stop and restart between calls, and no session with it outlives a call. A locked collection makes the store
// ask the user, in a search too, because some stores show nothing of a locked one.
#pragma once

#include "platform/SecretStore.h"

#include <memory>

namespace backends::secret {

// Null when the program was built without the library that it needs.
std::unique_ptr<platform::SecretStore> makeSecretService();

} // namespace backends::secret
