// The remote folders as the daemon lists them, asked over the request connection, side by side and without
// waiting. Answers come on the main queue. Main thread only.
#pragma once

#include "panels/RemoteDirectories.h"
#include "platform/ProcessLog.h"
#include "platform/Queue.h"
#include "platform/RequestConnection.h"

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

namespace apps::panel {

class DaemonDirectories final : public panels::RemoteDirectories {
  public:
    // All outlive this object and the requests that are under way.
    DaemonDirectories(platform::RequestConnectionFactory& connectionFactory, platform::Queue& main,
                      platform::ProcessLog& processLog);

    void directoriesNotInSyncAtRemoteDirecory(const std::string& remotePath, Paths completion) override;
    void countDirectoriesAtPath(const std::string& remotePath, Count completion) override;

  private:
    // Sends, connecting before where needed; a message that cannot be sent gets no reply.
    void ask(std::string_view message, const std::string& path, std::chrono::milliseconds wait,
             platform::ReplyHandler onMain);

    platform::RequestConnectionFactory& factory;
    platform::Queue& mainQueue;
    platform::ProcessLog& log;
    std::shared_ptr<platform::RequestConnection> connection; // null: none yet, or it failed
};

} // namespace apps::panel
