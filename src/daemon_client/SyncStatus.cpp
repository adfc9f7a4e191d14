#include "daemon_client/SyncStatus.h"

#include "platform/FileURL.h"

namespace daemon_client {
namespace {

const platform::Dictionary* dictionaryAt(const platform::Dictionary* dictionary, std::string_view key) {
    const platform::Value* value = dictionary != nullptr ? platform::find(*dictionary, key) : nullptr;
    return value != nullptr ? value->dictionary() : nullptr;
}

} // namespace

SyncStatus syncStatusOf(const platform::Dictionary& statusInfo) {
    SyncStatus result;
    const platform::Value* status = platform::find(statusInfo, "status");
    if (status != nullptr && status->string() != nullptr) result.status = *status->string();
    if (result.status != syncStatusTransfer) return result;
    const platform::Dictionary* uploading =
        dictionaryAt(dictionaryAt(&statusInfo, "info"), "syncStatusUploading");
    if (const platform::Dictionary* paths = dictionaryAt(uploading, "paths")) {
        result.uploadingPaths.reserve(paths->size());
        for (const auto& [path, details] : *paths)
            if (platform::FileURL::withPath(path)) result.uploadingPaths.push_back(path);
    }
    return result;
}

} // namespace daemon_client
