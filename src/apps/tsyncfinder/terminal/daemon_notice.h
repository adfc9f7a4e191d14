// What a person has to know about the sync daemon to understand what the extension says.
#pragma once

#include "platform/Presence.h"

#include <string_view>

namespace apps::tsyncfinder::terminal {

// One line on standard error when the daemon is not there or hangs: what follows is what was known last.
void tellWhenDaemonIsNotAnswering(platform::Presence daemon);

// "answering", "silent", "absent": for programs.
std::string_view nameOf(platform::Presence presence);

} // namespace apps::tsyncfinder::terminal
