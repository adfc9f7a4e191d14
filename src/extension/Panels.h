// How the extension asks a person: the two panels behind an interface, and the request that they belong to.
#pragma once

#include "daemon_client/SyncPathTable.h"
#include "platform/Cancellation.h"
#include "platform/Display.h"
#include "platform/DisplayText.h"
#include "platform/FileURL.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace extension {

// One chosen menu item with everything that belongs to that moment. Two file managers never see each other's
// selection, because nothing of it is kept anywhere else.
struct CommandRequest {
    std::string sender;                       // the item, as the log shows it
    std::vector<platform::FileURL> selection; // in the order of the selection
    platform::Display display;
    std::optional<std::string> destination; // answers the destination panel without a window
    std::vector<std::string> recipients;    // not empty: answers the share panel without a window
    // Ends a panel that is shown, as if it were cancelled. Null: nothing does.
    std::shared_ptr<platform::Cancellation> cancellation;
};

// What the destination is chosen for: the panel asks, and names its window and its button, accordingly.
enum class DestinationPurpose {
    sync, // a folder is synced to it
    move, // items go there, and go from here
    copy, // items go there, and stay here
};

struct DestinationAnswer {
    std::optional<std::string> path;              // remote; none: cancelled
    std::optional<platform::DisplayText> problem; // why nobody could be asked
};

struct ShareAnswer {
    std::vector<std::string> recipients; // none: cancelled
    bool isShown = false;                // a panel was shown, and has posted the command message itself
    bool isSent = false;                 // the bus took that message
    std::optional<platform::DisplayText> problem;
};

// Both wait for the person, as long as it takes, on their caller's thread. Where no panel can be shown it
// counts as cancelled, with one log line and a problem. An answer that came with the request must be one that
// the panel would have let pass.
class Panels {
  public:
    virtual ~Panels() = default;

    // A sync is for the first selected item, the others for all; there is at least one.
    virtual DestinationAnswer chooseRemoteDestination(DestinationPurpose purpose,
                                                      const CommandRequest& request) = 0;

    // For the first selected item.
    virtual ShareAnswer shareByEmail(bool isDirectory, const daemon_client::SyncPathTable& allPathsInSync,
                                     const CommandRequest& request) = 0;
};

} // namespace extension
