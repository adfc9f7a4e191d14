// What a person who has just installed the extension has to know, once.
#pragma once

#include "platform/ProcessLog.h"
#include "platform/UserNotifier.h"

namespace apps::tsyncfinder {

// Tells the person by a desktop notification when no sync service can run, since none is installed or set up,
// with the one command that mends it. Never again once it has told, which a file in the state folder says.
// Takes up to two seconds.
void tellOnceWhatIsMissing(platform::UserNotifier& notifier, platform::ProcessLog& log);

} // namespace apps::tsyncfinder
