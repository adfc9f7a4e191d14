// Desktop notifications: short news for the person, shown by the desktop.
#pragma once

#include "platform/DisplayText.h"

namespace platform {

class UserNotifier {
  public:
    enum class News {
        failure, // each is shown by itself
        success, // those that come while an earlier one is still shown are gathered with it
    };

    virtual ~UserNotifier() = default;

    // Shows the text in the person's language. Nobody learns whether that worked. Returns at once; any
    // thread.
    virtual void notify(const DisplayText& text, News news) = 0;
};

} // namespace platform
