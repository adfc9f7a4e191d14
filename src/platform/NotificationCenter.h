// In-process notifications: the observers of a name and a sender are called on the posting thread, in the
// order in which they registered, before post returns. Any thread may post and observe; no lock is held
// while a handler runs, so a handler may observe or post itself.
#pragma once

#include "platform/Subscription.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

class NotificationCenter {
  public:
    using Handler = std::function<void()>;

    // The sender is compared by identity and never used; null observes any sender.
    [[nodiscard]] Subscription addObserver(std::string_view name, const void* sender, Handler handler);
    void post(std::string_view name, const void* sender);

  private:
    struct Observer {
        std::string name;
        const void* sender;
        Handler handler;
    };
    // Shared with the subscriptions, which may outlive the centre.
    struct Observers {
        std::mutex lock;
        std::vector<std::shared_ptr<const Observer>> list;
    };
    std::shared_ptr<Observers> observers = std::make_shared<Observers>();
};

} // namespace platform
