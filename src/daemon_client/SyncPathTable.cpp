#include "daemon_client/SyncPathTable.h"

namespace daemon_client {

SyncPathTable syncPathTableOf(const platform::Dictionary& entries) {
    SyncPathTable table;
    for (const auto& [remoteRoot, localRoot] : entries)
        if (const std::string* path = localRoot.string()) table.emplace_hint(table.end(), remoteRoot, *path);
    return table;
}

} // namespace daemon_client
