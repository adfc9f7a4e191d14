// What the extension object tells every host alike: the badges that it registers, and the directories that it
// watches. It is the object's controller, and there before it.
//
// The controller's single badges are not passed on: a host asks for the badges of what it shows, and is told
// when to ask again, so that nothing here grows with the items that were ever seen.
//
// Any thread may call.
#pragma once

#include "host_service/HostSink.h"
#include "platform/FIFinderSync.h"

#include <mutex>
#include <string>
#include <vector>

namespace host_service {

struct RegisteredBadge {
    std::string identifier;
    std::string label;
    std::string imagePath; // empty: the image is missing
};

class HostTables final : public platform::FIFinderSyncController {
  public:
    // The sink outlives this object.
    explicit HostTables(HostSink& hostSink) : sink(hostSink) {}

    std::vector<RegisteredBadge> badges() const;
    WatchedDirectories directories() const;

    void setDirectoryURLs(WatchedDirectories directories) override;
    void setBadgeImage(const platform::ImageHandle& image, std::string_view label,
                       std::string_view identifier) override;
    void setBadgeIdentifier(std::string_view, const platform::FileURL&) override {}
    bool showsSingleBadges() const override { return false; }

  private:
    HostSink& sink;
    mutable std::mutex lock;
    std::vector<RegisteredBadge> registeredBadges; // guarded by the lock
    WatchedDirectories directoryURLs;              // guarded by the lock
};

} // namespace host_service
