#include "host_service/HostTables.h"

namespace host_service {

std::vector<RegisteredBadge> HostTables::badges() const {
    const std::lock_guard guard(lock);
    return registeredBadges;
}

WatchedDirectories HostTables::directories() const {
    const std::lock_guard guard(lock);
    return directoryURLs;
}

void HostTables::setDirectoryURLs(WatchedDirectories directories) {
    {
        const std::lock_guard guard(lock);
        directoryURLs = directories;
    }
    sink.directoriesChanged(directories);
}

void HostTables::setBadgeImage(const platform::ImageHandle& image, std::string_view label,
                               std::string_view identifier) {
    const std::lock_guard guard(lock);
    registeredBadges.push_back(
        {std::string(identifier), std::string(label), image ? image->name : std::string()});
}

} // namespace host_service
