// Machine-wide notifications as signals on the session bus.
//
// Observers match on the notification's name, so that the bus filters; handlers run on the bus thread.
// The object registers its own path, so that introspection shows the interface.
#pragma once

#include "backends/dbus/Bus.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/ProcessLog.h"

#include <memory>
#include <string>

namespace backends::dbus {

class DistributedCenter final : public platform::DistributedNotificationCenter {
  public:
    // Both must outlive this object. Nothing is delivered before the bus is started.
    DistributedCenter(Bus& sharedBus, platform::ProcessLog& processLog);

    platform::Subscription addObserver(const std::string& name,
                                       platform::NotificationHandler handler) override;
    bool post(const platform::Notification& notification) override;

  private:
    Bus& bus;
    platform::ProcessLog& log;
    std::unique_ptr<sdbus::IObject> object;
};

} // namespace backends::dbus
