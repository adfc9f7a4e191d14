// Time as the program reads and spends it; a test ticks its own.
//
// Any thread may call.
#pragma once

#include <chrono>

namespace platform {

class Clock {
  public:
    // Goes on while the machine is awake, whatever happens to the date.
    using TimePoint = std::chrono::steady_clock::time_point;

    virtual ~Clock() = default;
    virtual TimePoint now() const = 0;
    // What the calendar says; it may jump.
    virtual std::chrono::system_clock::time_point date() const = 0;
    virtual void sleepFor(std::chrono::milliseconds duration) = 0;

    // Until when, by the machine's own time, somebody who waits for the time `due` may sleep before he looks
    // at now() again: until then, but for a clock that a test ticks.
    virtual TimePoint wakeUp(TimePoint due) const { return due; }
};

// The machine's. It lives as long as the process.
Clock& machineClock();

} // namespace platform
