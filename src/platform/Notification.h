// A notification as an observer receives it: immutable, owned by the centre for the length of the call.
#pragma once

#include "platform/Value.h"

#include <functional>
#include <optional>
#include <string>

namespace platform {

struct Notification {
    std::string name;
    std::optional<std::string> object; // a text that travels with it, or none
    Dictionary userInfo;               // empty when there is none
};

using NotificationHandler = std::function<void(const Notification&)>;

} // namespace platform
