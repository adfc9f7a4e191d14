// The file manager's side of the extension: what a Finder Sync extension is called with, and the
// controller on which it sets badges.
//
// Items are file URLs. The empty badge identifier means no badge.
#pragma once

#include "platform/FileURL.h"
#include "platform/Menu.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

namespace platform {

// From which place of the file manager a menu is asked for.
enum class FIMenuKind : std::uint32_t {
    contextualMenuForItems = 0,
    contextualMenuForContainer = 1,
    contextualMenuForSidebar = 2,
    toolbarItemMenu = 3,
};

class FIFinderSyncController {
  public:
    virtual ~FIFinderSyncController() = default;

    // The directories under which the extension is asked; none and the empty set both mean that it is
    // not asked at all.
    virtual void setDirectoryURLs(std::optional<std::set<FileURL>> directories) = 0;

    // The image is borrowed for the call and may be null when the resource is missing.
    virtual void setBadgeImage(const ImageHandle& image, std::string_view label,
                               std::string_view identifier) = 0;

    virtual void setBadgeIdentifier(std::string_view identifier, const FileURL& item) = 0;

    // Whether anybody sees what setBadgeIdentifier() sets. Where nobody does, the extension saves itself the
    // work of finding out.
    virtual bool showsSingleBadges() const { return true; }
};

// What the file manager calls. The selection belongs to one request and is passed along with it, so that
// two file managers never see each other's.
class FIFinderSync {
  public:
    virtual ~FIFinderSync() = default;

    virtual void beginObservingDirectoryAtURL(const FileURL& directory) = 0;
    virtual void endObservingDirectoryAtURL(const FileURL& directory) = 0;
    virtual void requestBadgeIdentifierForURL(const FileURL& item) = 0;
    virtual MenuHandle menuForMenuKind(FIMenuKind kind, const std::vector<FileURL>& selectedItemURLs) = 0;
};

} // namespace platform
