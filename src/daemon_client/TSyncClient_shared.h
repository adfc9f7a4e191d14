// The client's state behind its lock, for its own sources.
#pragma once

#include "daemon_client/TSyncClient.h"
#include "daemon_client/sync_path_mapping.h"

namespace daemon_client {

struct TSyncClient::Shared {
    explicit Shared(platform::ProcessLog& processLog) : log(processLog) {}

    platform::ProcessLog& log;
    mutable std::recursive_mutex clientLock;
    // All below are guarded by the client lock.
    std::shared_ptr<const SyncPaths> _cachedSyncPaths;
    std::optional<std::string> _cachedUploadingDir;
    std::optional<std::string> _cachedCacheDir;
    std::shared_ptr<dirsnapshot::DirSnapshot> _cacedSnapshot; // never emptied

    static SyncPathTable tableOf(const platform::Value& reply) {
        const platform::Dictionary* entries = reply.dictionary();
        return entries != nullptr ? syncPathTableOf(*entries) : SyncPathTable();
    }

    void onAllPathsInSync(const platform::Reply& reply) {
        if (reply.kind == platform::Reply::Kind::noReply) return;
        std::shared_ptr<const SyncPaths> table;
        if (reply.kind == platform::Reply::Kind::value) {
            log.info("All Paths in Sync: ", reply.value);
            table = std::make_shared<const SyncPaths>(tableOf(reply.value));
        } else {
            log.info("All Paths in Sync: ", std::optional<std::string>());
        }
        const std::lock_guard guard(clientLock);
        _cachedSyncPaths = std::move(table);
        _cachedUploadingDir.reset();
        _cachedCacheDir.reset();
    }
};

} // namespace daemon_client
