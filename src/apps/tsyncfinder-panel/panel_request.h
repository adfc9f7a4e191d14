// What the panel program is asked, as one JSON object on its standard input, and what it answers, as one JSON
// object and a line end on its standard output. The format is described in docs/panel-program.md.
#pragma once

#include "backends/qt/SavePanelDialog.h"
#include "daemon_client/SyncPathTable.h"
#include "platform/Value.h"

#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace apps::panel {

struct DestinationRequest {
    backends::qt::DestinationCommand command = backends::qt::DestinationCommand::archive;
    std::vector<std::string> paths; // local; one for a sync, at least one
};

struct ShareRequest {
    std::string path; // local
    bool isDirectory = false;
    daemon_client::SyncPathTable allPathsInSync;
};

struct ClipboardRequest {
    std::string text;
};

struct Request {
    std::variant<DestinationRequest, ShareRequest, ClipboardRequest> panel;
    std::string activationToken;    // with which the desktop lets the window come to the front; empty: none
    unsigned long parentWindow = 0; // of the window that asked, in an X session; 0: none
};

// The request, or a sentence that says what is wrong with it.
std::variant<Request, std::string> requestOfJson(std::string_view text);

// Writes what comes before the answer.
void writeLine(const platform::Dictionary& object);

// Writes the answer and closes standard output, so that who reads it to its end need not wait for the
// process.
void writeAnswer(const platform::Dictionary& answer);

} // namespace apps::panel
