// The daemon's end of the request protocol: exports every message of the protocol on the bus and hands the
// calls to a request service.
//
// A message without a reply value is answered too, with an empty return, unless the caller has said that it
// expects none. The client says so; a person at a terminal waits for the end of the call.
#pragma once

#include "backends/dbus/Bus.h"
#include "platform/RequestService.h"

#include <memory>

namespace backends::dbus {

class DaemonService {
  public:
    // Registers the object. Calls arrive on the bus thread, from the start of the bus on; the service hands
    // longer work on, and may answer from any thread. Both must outlive this object.
    DaemonService(Bus& sharedBus, platform::RequestService& service);

    // Takes the daemon's well-known name; raises sdbus::Error when another process has it.
    void requestName();

  private:
    Bus& bus;
    std::unique_ptr<sdbus::IObject> object;
};

} // namespace backends::dbus
