// Time as the machine spends it.
#pragma once

#include "platform/Clock.h"

#include <thread>

namespace backends::posix {

class SystemClock final : public platform::Clock {
  public:
    TimePoint now() const override { return std::chrono::steady_clock::now(); }
    void sleepFor(std::chrono::milliseconds duration) override { std::this_thread::sleep_for(duration); }
};

} // namespace backends::posix
