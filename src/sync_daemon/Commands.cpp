#include "sync_daemon/Commands.h"

#include "platform/json.h"
#include "protocol/names.h"

#include <array>
#include <optional>
#include <string>

namespace sync_daemon {
namespace {

using platform::Dictionary;
using platform::Value;

// What a payload says; a missing key, or one of another type, is none.
struct Payload {
    std::optional<std::string> localPath;
    std::optional<std::string> remotePath;
    std::optional<std::string> isDir; // "folder" or "file"
    std::vector<std::string> recipients;
};

std::optional<std::string> textOf(const Dictionary& entries, std::string_view key) {
    const std::string* text = platform::textAt(entries, key);
    return text ? std::optional(*text) : std::nullopt;
}

std::optional<Payload> payloadOf(const std::optional<std::string>& object) {
    const std::optional<Value> value = object ? platform::valueOfJson(*object) : std::nullopt;
    const Dictionary* entries = value ? value->dictionary() : nullptr;
    if (!entries) return std::nullopt;
    return Payload{textOf(*entries, "localPath"), textOf(*entries, "remotePath"), textOf(*entries, "isDir"),
                   platform::textsAt(*entries, "recipients")};
}

struct Command {
    const char* name;
    bool needsLocalPath;
    bool needsRemotePath;
    bool (*perform)(SyncDaemon& daemon, const Payload& payload);
    bool waitsForSpace = false;
};

constexpr std::array commands{
    Command{TSYNC_COMMAND_SYNC_START, true, true,
            [](SyncDaemon& daemon, const Payload& payload) {
                return daemon.startSync(*payload.localPath, *payload.remotePath);
            }},
    Command{TSYNC_COMMAND_SYNC_STOP, false, true,
            [](SyncDaemon& daemon, const Payload& payload) { return daemon.stopSync(*payload.remotePath); }},
    Command{
        TSYNC_COMMAND_EXCLUDE_SYNC_PATH, false, true,
        [](SyncDaemon& daemon, const Payload& payload) { return daemon.excludePath(*payload.remotePath); }},
    Command{
        TSYNC_COMMAND_INCLUDE_SYNC_PATH, false, true,
        [](SyncDaemon& daemon, const Payload& payload) { return daemon.includePath(*payload.remotePath); }},
    Command{TSYNC_COMMAND_MOVE_TO_SPACE, true, true,
            [](SyncDaemon& daemon, const Payload& payload) {
                return daemon.moveToSpace(*payload.localPath, *payload.remotePath);
            }},
    Command{TSYNC_COMMAND_COPY_TO_SPACE, true, true,
            [](SyncDaemon& daemon, const Payload& payload) {
                return daemon.copyToSpace(*payload.localPath, *payload.remotePath);
            }},
    // Its "localPath" is the shared item's path in the space.
    Command{TSYNC_COMMAND_SHARE_BY_EMAIL, true, false,
            [](SyncDaemon& daemon, const Payload& payload) {
                return daemon.shareByEmail(*payload.localPath, payload.isDir == "folder", payload.recipients);
            },
            true},
};

void act(const Command& command, const platform::Notification& notification, SyncDaemon& daemon,
         platform::ProcessLog& log) {
    log.info("Command ", notification.name, " ", notification.object);
    const std::optional<Payload> payload = payloadOf(notification.object);
    if (!payload || (command.needsLocalPath && !payload->localPath) ||
        (command.needsRemotePath && !payload->remotePath)) {
        log.error("Command ", notification.name,
                  ": the payload is not a JSON object with the paths it needs");
        return;
    }
    command.perform(daemon, *payload);
}

} // namespace

Commands::Commands(SyncDaemon& daemon, platform::DistributedNotificationCenter& center, const Queues& queues,
                   platform::ProcessLog& log) {
    for (const Command& command : commands) {
        platform::Queue& queue = command.waitsForSpace ? queues.space : queues.quick;
        subscriptions.push_back(center.addObserver(
            command.name, [&command, &daemon, &queue, &log](const platform::Notification& notification) {
                queue.dispatch(
                    [&command, &daemon, &log, notification] { act(command, notification, daemon, log); });
            }));
    }
}

} // namespace sync_daemon
