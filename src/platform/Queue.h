// A queue of work: what is dispatched runs later on a thread of the queue's.
#pragma once

#include <chrono>
#include <functional>

namespace platform {

class Queue {
  public:
    using Work = std::function<void()>;

    virtual ~Queue() = default;

    // Returns at once. Work that raises an error ends the process: the caller catches what it expects.
    virtual void dispatch(Work work) = 0;

    // The same, not before the delay has passed.
    virtual void dispatchAfter(std::chrono::milliseconds delay, Work work) = 0;

    // Runs the work on the queue and waits for it; on the queue's own thread it runs directly.
    virtual void dispatchAndWait(Work work) = 0;
};

} // namespace platform
