// Time as the machine spends it.
#pragma once

#include "platform/Queue.h"

#include <thread>

namespace backends::posix {

class SystemClock final : public platform::Clock {
  public:
    void sleepFor(std::chrono::milliseconds duration) override { std::this_thread::sleep_for(duration); }
};

} // namespace backends::posix
