// The general pasteboard of a display. Plain text is the only type that is ever put on it.
#pragma once

#include "platform/Display.h"

#include <string>

namespace platform {

class Pasteboard {
  public:
    virtual ~Pasteboard() = default;

    // Replaces the content; the text stays after the call, until another program takes the pasteboard over.
    // False when it could not be put there. Waits some seconds at most; any thread.
    virtual bool setString(const std::string& text, const Display& display) = 0;
};

} // namespace platform
