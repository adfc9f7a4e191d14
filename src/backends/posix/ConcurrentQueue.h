// A queue with a few threads: work that may take long, or hang on a dead disk, runs beside other work.
//
// Threads start on demand, up to the limit, and wait for more without a timer; for work with a delay one idle
// thread waits with one. Letting the queue go drops what has not started and leaves a thread that does not
// come back to the end of the process: it must touch nothing that ends before.
#pragma once

#include "platform/Queue.h"

#include <condition_variable>
#include <deque>
#include <map>
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
    void dispatchAfter(std::chrono::milliseconds delay, Work work) override;
    void dispatchAndWait(Work work) override;

  private:
    // Shared with the threads, which may outlive the queue.
    struct State {
        std::string name;
        unsigned maximumThreads = 1;
        std::mutex lock;
        std::condition_variable changed;
        std::deque<Work> ready;
        std::multimap<std::chrono::steady_clock::time_point, Work> delayed;
        bool isTimed = false; // an idle thread waits for the first delayed work
        unsigned threads = 0;
        unsigned idle = 0;
        bool ending = false;
    };
    static void run(const std::shared_ptr<State>& state);
    // Under the state's lock: a thread for one more piece of work, or to wait for the delayed one.
    static void wakeThread(const std::shared_ptr<State>& state);

    std::shared_ptr<State> state = std::make_shared<State>();
};

} // namespace backends::posix
