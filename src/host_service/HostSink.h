// What a host is told without asking, by whatever way it is reached.
#pragma once

#include "extension/FinderSyncCommands.h"
#include "host_service/activation.h"
#include "platform/FileURL.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace host_service {

// What changed in one directory that a host shows.
struct DirectoryChange {
    std::string directory;          // URI as the host gave it
    std::vector<std::string> items; // URIs below it; empty: any item may have changed
};

// The directories whose items get badges; none: not set.
using WatchedDirectories = std::optional<std::set<platform::FileURL>>;

class HostSink {
  public:
    // Whether the host reads what it is sent. One that does not is told nothing until it does.
    virtual bool isListening(const HostName& host) = 0;
    // An answer with a smaller sequence number is older than this change.
    virtual void badgesChanged(const HostName& host, std::uint64_t sequence,
                               const std::vector<DirectoryChange>& changes) = 0;
    virtual void directoriesChanged(const WatchedDirectories& directories) = 0;
    virtual void activationFinished(const HostName& host, std::uint64_t number,
                                    const extension::CommandOutcome& outcome) = 0;
    // The menus per class have changed.
    virtual void menusChanged() = 0;
    // What is under way may have begun, ended or failed.
    virtual void progressChanged() = 0;
    // A first host shows a directory (a URI) at or below a sync root.
    virtual void observingBegan(const std::string& directory) = 0;
    // The host has not listened for so long that what it observes is forgotten. When it listens again, it has
    // to start over; these are the directories then.
    virtual void hostDropped(const HostName& host, const WatchedDirectories& directories) = 0;

  protected:
    ~HostSink() = default;
};

} // namespace host_service
