// The daemon's end of the request protocol: exports every message of the protocol on the bus and hands the
// calls to one handler. Whoever owns the handler answers, at once or later and from any thread.
#pragma once

#include "backends/dbus/Bus.h"
#include "platform/RequestConnection.h"
#include "platform/Value.h"

#include <functional>
#include <memory>

namespace backends::dbus {

class DaemonService {
  public:
    // Answers one call; called at most once. Kind::noReply answers with an error that is not "no value".
    // For a message without a reply it does nothing.
    using Respond = std::function<void(platform::Reply)>;
    // Runs on the bus thread: it must hand longer work on. Arguments have the types of the protocol.
    using Handler = std::function<void(std::string_view message, platform::Array arguments, Respond respond)>;

    // Registers the object. The bus must outlive this object.
    DaemonService(Bus& sharedBus, Handler handler);

    // Takes the daemon's well-known name; raises sdbus::Error when another process has it.
    void requestName();

  private:
    Bus& bus;
    std::unique_ptr<sdbus::IObject> object;
};

} // namespace backends::dbus
