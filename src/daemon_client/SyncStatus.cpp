#include "daemon_client/SyncStatus.h"

#include "platform/FileURL.h"

namespace daemon_client {

SyncStatus syncStatusOf(const platform::Dictionary& statusInfo) {
    SyncStatus result;
    if (const std::string* status = platform::textAt(statusInfo, "status")) result.status = *status;
    if (result.status != syncStatusTransfer) return result;
    const platform::Dictionary* info = platform::dictionaryAt(statusInfo, "info");
    const platform::Dictionary* uploading =
        info != nullptr ? platform::dictionaryAt(*info, "syncStatusUploading") : nullptr;
    const platform::Dictionary* paths =
        uploading != nullptr ? platform::dictionaryAt(*uploading, "paths") : nullptr;
    if (paths != nullptr) {
        result.uploadingPaths.reserve(paths->size());
        for (const auto& [path, details] : *paths)
            if (platform::FileURL::withPath(path)) result.uploadingPaths.push_back(path);
    }
    return result;
}

} // namespace daemon_client
