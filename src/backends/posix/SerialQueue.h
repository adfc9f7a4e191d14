// A queue with one thread of its own: work runs one at a time, in the order of dispatch.
//
// The thread sleeps without a timer while there is nothing to do. Letting the queue go runs what was
// dispatched without a delay, drops what still waits for its time, and joins the thread.
#pragma once

#include "platform/Clock.h"
#include "platform/Queue.h"

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace backends::posix {

class SerialQueue final : public platform::Queue {
  public:
    // The name shows in debuggers and process listings; at most 15 bytes of it.
    // The clock outlives the queue.
    explicit SerialQueue(const std::string& name, const platform::Clock& clock = platform::machineClock());
    ~SerialQueue() override;
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    void dispatch(Work work) override;
    void dispatchAfter(std::chrono::milliseconds delay, Work work) override;
    void dispatchAndWait(Work work) override;

  private:
    void run();

    const platform::Clock& clock;
    std::mutex lock;
    std::condition_variable changed;
    std::deque<Work> ready;
    std::multimap<platform::Clock::TimePoint, Work> delayed;
    bool ending = false;
    std::thread thread; // last: it uses all of the above
};

} // namespace backends::posix
