// The daemon's end of the request protocol: what a server on the bus calls for each message that arrives.
#pragma once

#include "platform/RequestConnection.h"
#include "platform/Value.h"

#include <string_view>

namespace platform {

class RequestService {
  public:
    virtual ~RequestService() = default;

    // A message as the protocol spells it ("allPathsInSync:"), with arguments of the types that it has.
    // The handler is called at most once, on any thread, before or after this returns: with a value (the
    // null object for a message without a reply), with none, or with noReply, which travels as an error.
    // A handler that is let go uncalled leaves the sender without any answer. The server must be able to
    // take a call after its connection has gone.
    virtual void answer(std::string_view message, const Array& arguments, ReplyHandler handler) = 0;
};

} // namespace platform
