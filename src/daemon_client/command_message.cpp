#include "daemon_client/command_message.h"

#include "platform/json.h"

namespace daemon_client {

bool postCommand(platform::DistributedNotificationCenter& center, platform::ProcessLog& log,
                 const std::string& name, const platform::Dictionary& payload) {
    const std::optional<std::string> object = platform::jsonText(payload);
    if (!object) {
        log.error(name, " was not sent, a path in it is not UTF-8: ", payload);
        return false;
    }
    return center.post({name, *object, {}});
}

platform::Dictionary sharePayload(const std::string& remotePath, bool isDirectory,
                                  const std::vector<std::string>& recipients) {
    return {{"localPath", remotePath},
            {"isDir", isDirectory ? "folder" : "file"},
            {"recipients", platform::Array(recipients.begin(), recipients.end())}};
}

} // namespace daemon_client
