// The panels' answers that come with a request, for scripts: taken when the panel would have let them pass.
#pragma once

#include "extension/Panels.h"

#include <optional>
#include <string>
#include <vector>

namespace backends::panel_process {

// None when the request brings no answer of that kind.
std::optional<extension::DestinationAnswer> givenDestination(bool forArchive,
                                                             const extension::CommandRequest& request);
// An entry may have the forms in which a person types them into the field. One that is not an address refuses
// all.
std::optional<extension::ShareAnswer> givenRecipients(const extension::CommandRequest& request);

} // namespace backends::panel_process
