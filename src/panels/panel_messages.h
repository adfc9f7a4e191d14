// What the extension and the panel program say to each other, as types: the request on the program's standard
// input, the lines on its standard output and its exit status. This is the one place where they are written
// and read; docs/panel-program.md describes the text for others.
//
// Plain values and functions without state; any thread may call.
#pragma once

#include "daemon_client/SyncPathTable.h"
#include "panels/DestinationPurpose.h"
#include "platform/Value.h"

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace panels {

struct DestinationRequest {
    DestinationPurpose purpose = DestinationPurpose::archive;
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

struct PanelRequest {
    std::variant<DestinationRequest, ShareRequest, ClipboardRequest> panel;
    std::string activationToken; // with which the desktop lets the window come to the front; empty: none
    std::string parentWindow;    // of the window that asked, as desktop portals write it; empty: none

    // The number of the X window, 0 when there is none or it is of another kind.
    unsigned long parentXWindow() const;
};

// The request's JSON object. Its strings are as they were given, UTF-8 or not.
platform::Dictionary objectOf(const PanelRequest& request);

// The request, or a sentence that says what is wrong with it.
std::variant<PanelRequest, std::string> panelRequestOfJson(std::string_view text);

struct Shown {}; // before the answer: the window's first frame is painted

struct DestinationAnswer {
    std::optional<std::string> path; // remote; none: cancelled
};

struct ShareAnswer {
    std::vector<std::string> recipients; // none: nothing was to be sent
    bool isSent = false;                 // the bus took the command message
};

struct ClipboardAnswer {
    bool isWritten = false;
};

struct Refusal { // no window was shown
    std::string error;
};

// A line as it is written, with its end. What is not UTF-8 is replaced.
std::string lineOf(Shown shown);
std::string lineOf(const DestinationAnswer& answer);
std::string lineOf(const ShareAnswer& answer);
std::string lineOf(ClipboardAnswer answer);
std::string lineOf(const Refusal& refusal);

// A line as it is read. Which answer it is follows from the request; an answer whose parts are missing or
// have another type counts as cancelled, and so does an empty line.
class PanelLine {
  public:
    PanelLine() = default;

    // None when the text is not a JSON object.
    static std::optional<PanelLine> ofJson(std::string_view text);

    bool isShown() const;
    std::optional<Refusal> refusal() const;
    DestinationAnswer destination() const;
    ShareAnswer share() const;
    ClipboardAnswer clipboard() const;

  private:
    bool isConfirmed() const;

    platform::Dictionary object;
};

// The program's exit status.
struct PanelExit {
    static constexpr int answered = 0; // the panel was shown and answered, or the text is on the clipboard
    static constexpr int notWritten = 1;
    static constexpr int unusableRequest = 2;
    static constexpr int noDisplay = 3;
};

} // namespace panels
