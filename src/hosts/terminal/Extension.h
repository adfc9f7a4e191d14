// The extension as a host in a terminal sees it: the host interface, with plain values.
//
// Every operation waits for its answer and raises ExtensionError, with a text for the person, when there is
// none: the extension does not run, does not answer in time, or refuses.
#pragma once

#include "platform/DisplayText.h"
#include "platform/Value.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace hosts::terminal {

class ExtensionError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct ItemBadge {
    std::string badge; // identifier, FINDER_SYNC_BADGE_NONE or …_UNCHANGED
    bool isInSync = false;
    bool isRoot = false;
};

struct MenuEntry {
    std::string title;
    std::string key;
    std::string action;
    std::string image;
    bool isEnabled = true;
    bool hasSubmenu = false;
    std::vector<MenuEntry> items; // of the submenu
};

struct Explanation {
    std::string badge;
    std::string rule;
    std::string root;
    std::string file;
};

struct Outcome {
    bool succeeded = false;
    platform::DisplayText message;
};

struct ChangedDirectory {
    std::string uri;
    std::vector<std::string> items; // URIs; empty: any item
};

class Extension {
  public:
    using Deadline = std::chrono::steady_clock::time_point;

    virtual ~Extension() = default;

    virtual std::vector<ItemBadge> badges(const std::vector<std::string>& uris) = 0;
    virtual std::vector<MenuEntry> menu(const std::vector<std::string>& uris) = 0;
    virtual Explanation explain(const std::string& uri) = 0;
    virtual platform::Dictionary status() = 0;
    virtual std::string version() = 0;
    virtual std::map<std::string, std::string> badgeLabels() = 0; // by identifier

    // Chooses the item and waits until its action has ended, however long a person takes.
    virtual Outcome invoke(const std::string& item, const std::vector<std::string>& uris,
                           const platform::Dictionary& options) = 0;

    // From now on `watch` is told of changes in the directory.
    virtual void observe(const std::string& directoryURI) = 0;

    // Calls `goesOn`, on the calling thread, at once and whenever what is under way may have changed, until
    // it answers false; false when the deadline comes first. Without a deadline it waits for ever. Raises
    // ExtensionError when the extension leaves.
    virtual bool followProgress(const std::function<bool()>& goesOn, std::optional<Deadline> deadline) = 0;

    // Something else that a watch waits for: a file descriptor, and what to do when it can be read.
    struct Readable {
        int descriptor = -1;
        std::function<void()> read;
    };
    // Calls `changed`, on the calling thread, until it answers false: once without changes, which is the time
    // to observe directories, and then for each change. Raises ExtensionError when the extension leaves.
    virtual void watch(const std::function<bool(const std::vector<ChangedDirectory>&)>& changed,
                       const Readable& also) = 0;
};

} // namespace hosts::terminal
