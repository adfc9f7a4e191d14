// One panel from its request to its answer. The application exists; each returns the program's exit status.
#pragma once

#include "panels/panel_messages.h"
#include "platform/ProcessLog.h"

namespace apps::panel {

int runDestinationPanel(const panels::PanelRequest& request, const panels::DestinationRequest& destination,
                        platform::ProcessLog& log);
int runSharePanel(const panels::PanelRequest& request, const panels::ShareRequest& share,
                  platform::ProcessLog& log);

// Puts the text on the clipboard and stays until another program takes the clipboard over, for the text goes
// with the process that put it there.
int runClipboard(const panels::ClipboardRequest& clipboard);

} // namespace apps::panel
