// A queue with a few threads: work that may take long, or hang on a dead disk, runs beside other work.
//
// Threads start on demand, up to the limit, and wait for more without a timer. Letting the queue go drops
// what has not started and leaves a thread that does not come back to the end of the process: it must
// touch nothing that ends before.
#pragma once

#include "platform/Queue.h"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

namespace backends::posix {

class ConcurrentQueue final : public platform::Queue {
  public:
    ConcurrentQueue(std::string name, unsigned maximumThreads);
    ~ConcurrentQueue() override;
    ConcurrentQueue(const ConcurrentQueue&) = delete;
    ConcurrentQueue& operator=(const ConcurrentQueue&) = delete;

    void dispatch(Work work) override;
    void dispatchAfter(std::chrono::milliseconds delay, Work work) override; // the delay occupies a thread
    void dispatchAndWait(Work work) override;

  private:
    // Shared with the threads, which may outlive the queue.
    struct State {
        std::mutex lock;
        std::condition_variable changed;
        std::deque<Work> ready;
        unsigned threads = 0;
        unsigned idle = 0;
        bool ending = false;
    };
    static void run(const std::shared_ptr<State>& state);

    std::shared_ptr<State> state = std::make_shared<State>();
    std::string name;
    unsigned maximumThreads;
};

} // namespace backends::posix
