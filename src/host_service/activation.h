// An item chosen in a host, with everything that belongs to that moment, and what the actions make of it.
#pragma once

#include "extension/Panels.h"
#include "platform/Value.h"

#include <map>
#include <string>
#include <vector>

namespace host_service {

using HostName = std::string;

struct Activation {
    HostName host;
    std::string item; // title, key equivalent or action name
    std::vector<std::string> uris;
    std::map<std::string, std::string> environment; // of the host's display
    std::string activationToken;
    // "parentWindow" (string): the window over which a panel stands. "destination" (string) and "recipients"
    // (array of strings) answer the panels. What has another type counts as absent; others are ignored.
    platform::Dictionary options;
};

// The selection is the activation's URIs.
extension::CommandRequest requestOf(const Activation& activation, std::vector<platform::FileURL> selection);

} // namespace host_service
