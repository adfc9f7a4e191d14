// A queue with a few threads: work that may take long, or hang on a dead disk, runs beside other work.
//
// Threads start on demand, up to the limit, and wait for more without a timer; for work with a delay one idle
// thread waits with one. Letting the queue go drops what has not started and leaves a thread that does not
// come back to the end of the process: it must touch nothing that ends before.
#pragma once

#include "platform/Clock.h"
#include "platform/Queue.h"

#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace backends::posix {

class ConcurrentQueue final : public platform::Queue {
  public:
    // The clock outlives the queue.
    ConcurrentQueue(std::string name, unsigned maximumThreads,
                    const platform::Clock& clock = platform::machineClock());
    ~ConcurrentQueue() override;
    ConcurrentQueue(const ConcurrentQueue&) = delete;
    ConcurrentQueue& operator=(const ConcurrentQueue&) = delete;

    void dispatch(Work work) override;
    void dispatchAfter(std::chrono::milliseconds delay, Work work) override;
    void dispatchAndWait(Work work) override;

  private:
    // Shared with the threads, which may outlive the queue.
    struct State {
        State(std::string itsName, unsigned threadLimit, const platform::Clock& itsClock)
            : name(std::move(itsName)), maximumThreads(threadLimit), clock(itsClock) {}
        const std::string name;
        const unsigned maximumThreads;
        const platform::Clock& clock; // not after the end
        std::mutex lock;
        std::condition_variable changed;
        std::deque<Work> ready;
        std::multimap<platform::Clock::TimePoint, Work> delayed;
        bool isTimed = false; // an idle thread waits for the first delayed work
        unsigned threads = 0;
        unsigned idle = 0;
        bool ending = false;
    };
    static void run(const std::shared_ptr<State>& state);
    // Under the state's lock: a thread for one more piece of work, or to wait for the delayed one.
    static void wakeThread(const std::shared_ptr<State>& state);

    std::shared_ptr<State> state;
};

} // namespace backends::posix
