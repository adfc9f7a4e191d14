#include "platform/Clock.h"

#include <thread>

namespace platform {
namespace {

class MachineClock final : public Clock {
  public:
    TimePoint now() const override { return std::chrono::steady_clock::now(); }
    std::chrono::system_clock::time_point date() const override { return std::chrono::system_clock::now(); }
    void sleepFor(std::chrono::milliseconds duration) override { std::this_thread::sleep_for(duration); }
};

} // namespace

Clock& machineClock() {
    static Clock* const clock = new MachineClock; // threads that nobody waits for still read it
    return *clock;
}

} // namespace platform
