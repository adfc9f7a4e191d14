// What the extension stands on in tests, and what the daemon tells it.
#pragma once

#include "extension/FinderSync.h"
#include "protocol/names.h"
#include "tests/support/fakes.h"
#include "tests/support/silent_connections.h"

namespace support {

struct ExtensionParts {
    RecordingLog log;
    InlineQueue model;
    InlineQueue background;
    InlineQueue walks;
    TestClock clock;
    LocalDistributedCenter center;
    MemoryFileSystem disk;
    AllImages images;
    platform::NotificationCenter localCenter;
    SilentConnections connections;

    std::unique_ptr<daemon_client::TSyncClient> client; // made when the extension asks for it

    extension::FinderSync::Surroundings forFinderSync(platform::FIFinderSyncController& controller,
                                                      platform::Queue* otherModel = nullptr) {
        return {controller,
                center,
                disk,
                images,
                log,
                clock,
                otherModel != nullptr ? *otherModel : model,
                background,
                walks,
                [this]() -> daemon_client::TSyncClient& {
                    client =
                        std::make_unique<daemon_client::TSyncClient>(daemon_client::TSyncClient::Surroundings{
                            connections, center, localCenter, log, clock});
                    return *client;
                }};
    }
    static std::vector<platform::FileURL> urls(const std::vector<std::string>& paths) {
        std::vector<platform::FileURL> items;
        for (const std::string& path : paths)
            items.push_back(platform::FileURL::withPath(path).value());
        return items;
    }
    void post(const char* name, platform::Dictionary userInfo = {}) {
        center.post({name, std::nullopt, std::move(userInfo)});
    }
    void refresh(platform::Dictionary table, std::optional<platform::Value> status = std::nullopt) {
        platform::Dictionary userInfo{{"allPathsInSync", std::move(table)}};
        if (status) userInfo["statusInfo"] = *status;
        post(TSYNC_NOTE_SYNC_REFRESH, std::move(userInfo));
    }
    // The status of a daemon that uploads these files.
    static platform::Value transfer(const std::vector<std::string>& files) {
        platform::Dictionary paths;
        for (const std::string& file : files)
            paths[file] = platform::Dictionary();
        const platform::Dictionary uploading{{"paths", paths}};
        return platform::Dictionary{{"status", "syncStatusTransfer"},
                                    {"info", platform::Dictionary{{"syncStatusUploading", uploading}}}};
    }
};

} // namespace support
