// Desktop notifications over the session bus: the Notify method of org.freedesktop.Notifications (Desktop
// Notifications Specification, version 1.2). Texts are shown in the language of this process's session.
//
// A failure is a notification of its own. Successes are gathered: one that comes while the notification of
// earlier ones is still shown replaces it, with the last few texts and how many more there were.
#pragma once

#include "backends/dbus/Bus.h"
#include "platform/ProcessLog.h"
#include "platform/UserNotifier.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace backends::dbus {

class DesktopNotifier final : public platform::UserNotifier {
  public:
    // Both outlive this object.
    DesktopNotifier(Bus& sharedBus, platform::ProcessLog& processLog);
    ~DesktopNotifier() override;

    void notify(const platform::DisplayText& text, News news) override;

  private:
    // The successes that one notification shows. Its number is known once the desktop has answered; what
    // comes before that waits for it.
    struct Gathering {
        std::uint32_t number = 0;        // 0: nothing is shown
        std::vector<std::string> latest; // a few texts
        std::size_t count = 0;
        bool isUnderWay = false; // the desktop has not answered the last one
        bool hasMore = false;    // and more has come since
    };

    void showSuccesses();
    void show(const std::string& body, std::uint32_t replaced, News news,
              const std::function<void(std::uint32_t number)>& shown);

    Bus& bus;
    platform::ProcessLog& log;
    std::mutex lock;     // never held while the bus is called
    Gathering successes; // guarded by the lock
    std::unique_ptr<sdbus::IProxy> proxy;
};

} // namespace backends::dbus
