// One panel from its request to its answer. The application exists; each returns the program's exit status.
#pragma once

#include "apps/tsyncfinder-panel/panel_request.h"
#include "platform/ProcessLog.h"

namespace apps::panel {

int runDestinationPanel(const Request& request, const DestinationRequest& destination,
                        platform::ProcessLog& log);
int runSharePanel(const Request& request, const ShareRequest& share, platform::ProcessLog& log);

// Puts the text on the clipboard and stays until another program takes the clipboard over, for the text goes
// with the process that put it there.
int runClipboard(const ClipboardRequest& clipboard);

} // namespace apps::panel
