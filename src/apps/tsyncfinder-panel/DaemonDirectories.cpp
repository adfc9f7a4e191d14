#include "apps/tsyncfinder-panel/DaemonDirectories.h"

#include "protocol/messages.h"
#include "protocol/names.h"

#include <utility>

namespace apps::panel {
namespace {

// Nothing stands still while the panel waits for a list, so it waits as long as for anything that the daemon
// may have to ask its server for. The counts it can do without.
constexpr std::chrono::seconds waitForList{30};

} // namespace

DaemonDirectories::DaemonDirectories(platform::RequestConnectionFactory& connectionFactory,
                                     platform::Queue& main, platform::ProcessLog& processLog)
    : factory(connectionFactory), mainQueue(main), log(processLog) {}

void DaemonDirectories::ask(std::string_view message, const std::string& path, std::chrono::milliseconds wait,
                            platform::ReplyHandler onMain) {
    // Not through this object: what still waits when the panel goes is answered after its end.
    auto reply = [&queue = mainQueue, handler = std::move(onMain)](platform::Reply answer) {
        queue.dispatch([handler, answer = std::move(answer)] { handler(answer); });
    };
    try {
        if (!connection) {
            connection = factory.initWithServiceName(TSYNC_SERVICE_NAME);
            connection->resume();
        }
        connection->send(message, {path}, wait, reply);
    } catch (const platform::IPCError& error) {
        log.error("The remote folders cannot be asked for: ", std::string_view(error.what()));
        connection = nullptr;
        reply({});
    }
}

void DaemonDirectories::directoriesNotInSyncAtRemoteDirecory(const std::string& remotePath,
                                                             Paths completion) {
    ask("directoriesNotInSyncAtRemoteDirecory:withReply:", remotePath, waitForList,
        [completion](const platform::Reply& reply) {
            // None, and a reply of another type, leave the level without folders; no reply can be asked for
            // again.
            if (reply.kind == platform::Reply::Kind::noReply) {
                completion(std::nullopt);
                return;
            }
            std::vector<std::string> paths;
            if (reply.kind == platform::Reply::Kind::value && reply.value.array() != nullptr)
                for (const platform::Value& path : *reply.value.array())
                    if (path.string() != nullptr) paths.push_back(*path.string());
            completion(std::move(paths));
        });
}

void DaemonDirectories::countDirectoriesAtPath(const std::string& remotePath, Count completion) {
    constexpr std::string_view message = "countDirectoriesAtPath:withReply:";
    ask(message, remotePath, protocol::replyWait(message), [completion](const platform::Reply& reply) {
        std::optional<std::uint64_t> count;
        if (reply.kind == platform::Reply::Kind::value) {
            if (const std::uint64_t* number = reply.value.unsignedInteger()) count = *number;
            if (const std::int64_t* number = reply.value.signedInteger(); number != nullptr && *number >= 0)
                count = static_cast<std::uint64_t>(*number);
        }
        completion(count);
    });
}

} // namespace apps::panel
