// Desktop notifications over the session bus: the Notify method of org.freedesktop.Notifications (Desktop
// Notifications Specification, version 1.2). Texts are shown in the language of this process's session.
#pragma once

#include "backends/dbus/Bus.h"
#include "platform/ProcessLog.h"
#include "platform/UserNotifier.h"

#include <memory>

namespace backends::dbus {

class DesktopNotifier final : public platform::UserNotifier {
  public:
    // Both outlive this object.
    DesktopNotifier(Bus& sharedBus, platform::ProcessLog& processLog);
    ~DesktopNotifier() override;

    void notify(const platform::DisplayText& text) override;

  private:
    Bus& bus;
    platform::ProcessLog& log;
    std::unique_ptr<sdbus::IProxy> proxy;
};

} // namespace backends::dbus
