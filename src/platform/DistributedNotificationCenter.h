// Machine-wide notifications: every process of the session that observes a name receives what is posted
// under it, whoever posts it.
//
// Handlers run on the centre's own delivery thread, one at a time and in the order of arrival; a handler
// must return soon and hand longer work to a queue. Any thread may post and observe.
#pragma once

#include "platform/Notification.h"
#include "platform/Subscription.h"

#include <string>

namespace platform {

class DistributedNotificationCenter {
  public:
    virtual ~DistributedNotificationCenter() = default;

    // Any sender. The centre must outlive the subscription.
    [[nodiscard]] virtual Subscription addObserver(const std::string& name, NotificationHandler handler) = 0;

    // Posts at once, without waiting for any observer. A text that cannot travel (not UTF-8) or a lost
    // bus is logged and the notification dropped: false then.
    virtual bool post(const Notification& notification) = 0;
};

} // namespace platform
