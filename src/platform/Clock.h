// Time as the program reads and spends it; a test ticks its own.
#pragma once

#include <chrono>

namespace platform {

class Clock {
  public:
    // Goes on while the machine is awake, whatever happens to the date.
    using TimePoint = std::chrono::steady_clock::time_point;

    virtual ~Clock() = default;
    virtual TimePoint now() const = 0;
    virtual void sleepFor(std::chrono::milliseconds duration) = 0;
};

} // namespace platform
