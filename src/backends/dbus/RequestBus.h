// The daemon's request protocol over the session bus: the real request connections.
//
// One bus connection serves every generation of request connection for the life of the process; when the
// bus was lost, was not there, or did not take a message, the next connection tries it anew. Replies run on
// the given queue, off the bus thread. The death of a connection (the daemon's name lost its owner, or the
// bus went) is posted on the in-process centre from that queue too, with the connection object as sender.
#pragma once

#include "platform/NotificationCenter.h"
#include "platform/ProcessLog.h"
#include "platform/Queue.h"
#include "platform/RequestConnection.h"

#include <memory>
#include <mutex>

namespace backends::dbus {

class RequestBus final : public platform::RequestConnectionFactory {
  public:
    // All must outlive this object and every connection that it made.
    RequestBus(platform::Queue& replyQueue, platform::NotificationCenter& localCenter,
               platform::ProcessLog& processLog);
    ~RequestBus() override;
    RequestBus(const RequestBus&) = delete;
    RequestBus& operator=(const RequestBus&) = delete;

    std::shared_ptr<platform::RequestConnection> initWithServiceName(std::string_view serviceName) override;

  private:
    class Link;
    class Connection;

    platform::Queue& replies;
    platform::NotificationCenter& center;
    platform::ProcessLog& log;
    std::mutex lock;
    std::shared_ptr<Link> link; // guarded by lock; null until the first connection
};

} // namespace backends::dbus
