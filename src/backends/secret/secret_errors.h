// From the errors of the library to the statuses of the store.
#pragma once

#include "platform/SecretStore.h"

#include <glib.h>

namespace backends::secret {

// The status of a call that failed. The library reports a prompt that the user refused as a failure without
// an error (null).
platform::SecretStatus statusOfError(const GError* error);

} // namespace backends::secret
