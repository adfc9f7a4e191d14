// The daemon's end of the request protocol: what a server on the bus calls for each message that arrives.
#pragma once

#include "platform/RequestConnection.h"
#include "platform/Value.h"

#include <string_view>

namespace platform {

class RequestService {
  public:
    virtual ~RequestService() = default;

    // A message as the protocol spells it ("allPathsInSync:"), with arguments of its own types. The handler
    // is called at most once, on any thread, before or after this returns: with a value (the null object for
    // a message without a reply), with none, or with noReply, which travels as an error. When it is never
    // called, the sender gets no answer at all. The server must be able to take a call after its connection
    // has gone.
    virtual void answer(std::string_view message, const Array& arguments, ReplyHandler handler) = 0;
};

} // namespace platform
