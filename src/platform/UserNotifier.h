// Desktop notifications: short news for the person, shown by the desktop.
#pragma once

#include "platform/DisplayText.h"

namespace platform {

class UserNotifier {
  public:
    virtual ~UserNotifier() = default;

    // Shows the text in the person's language. Nobody learns whether that worked: the news stands in the log
    // too. Returns at once; any thread.
    virtual void notify(const DisplayText& text) = 0;
};

} // namespace platform
