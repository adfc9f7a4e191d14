// `tsyncfinder run`: the extension process, from the bus connections to the end of the session.
#pragma once

#include "platform/ProcessLog.h"

#include <optional>
#include <string>

namespace apps::tsyncfinder {

struct RunOptions {
    std::optional<platform::LogLevel> logLevel; // none: the one of the settings
    std::string resourceFolder;                 // where the images are
    std::string panelProgram;                   // shows the panels
};

// Serves until SIGTERM, SIGINT or the end of the session's bus. Returns the program's exit status: 0 also
// when another extension process already serves this session, which it says.
int runExtension(const RunOptions& options);

} // namespace apps::tsyncfinder
