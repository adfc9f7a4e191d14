// The request connection to the daemon's service.
//
// A connection object is one generation: dropping it makes every reply that is still under way arrive as
// "no reply", and nothing that comes later reaches a handler. Dropping never waits for another thread.
#pragma once

#include "platform/Value.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace platform {

// The inter-process layer could not send: no bus, a lost bus, an argument that cannot travel.
class IPCError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Reply {
    enum class Kind {
        value,   // the daemon answered with a value of the message's reply type
        none,    // the daemon answered that it has no value
        noReply, // an error, an answer of a wrong type, a dead daemon, a dropped connection, or the deadline
    };
    Kind kind = Kind::noReply;
    Value value;
    std::optional<bool> baseFlag; // for the two exclusion queries, when the daemon sent it
};

using ReplyHandler = std::function<void(Reply)>;

class RequestConnection {
  public:
    virtual ~RequestConnection() = default;

    // Nothing may be sent before the connection is resumed.
    virtual void resume() = 0;
    // Ends the generation. Sending afterwards raises IPCError.
    virtual void invalidate() = 0;

    // What the log shows for the proxy on which messages are sent.
    virtual std::string remoteObjectProxy() const = 0;

    // Sends the message of that name, as the protocol spells it ("allPathsInSync:"), and returns at once.
    // The handler runs exactly once on the connection's reply queue, one handler at a time; it must not
    // wait for another reply. Raises IPCError, and then never calls the handler, when nothing was sent.
    virtual void send(std::string_view message, const Array& arguments, std::chrono::milliseconds deadline,
                      ReplyHandler handler) = 0;

    // The same for a caller that waits and keeps the deadline itself, with a handler that only stores what it
    // gets and takes no lock under which anything is sent: it may run on any thread, and not before the
    // handlers of earlier replies. After the deadline it may stay uncalled until the connection goes.
    virtual void sendForWaiting(std::string_view message, const Array& arguments,
                                std::chrono::milliseconds deadline, ReplyHandler handler) {
        send(message, arguments, deadline, std::move(handler));
    }

    // The same for a message without a reply.
    virtual void send(std::string_view message, const Array& arguments) = 0;
};

// The connections of a process. Any thread may ask for one.
class RequestConnectionFactory {
  public:
    virtual ~RequestConnectionFactory() = default;

    // Never null; raises IPCError when the bus cannot be reached.
    virtual std::shared_ptr<RequestConnection> initWithServiceName(std::string_view serviceName) = 0;
};

// Posted on the in-process centre, with the connection object as sender, when the daemon's process or the
// bus has gone.
inline constexpr std::string_view NSConnectionDidDieNotification = "NSConnectionDidDieNotification";

} // namespace platform
