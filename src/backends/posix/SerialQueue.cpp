#include "backends/posix/SerialQueue.h"

#include <future>
#include <pthread.h>

namespace backends::posix {

SerialQueue::SerialQueue(const std::string& name, const platform::Clock& itsClock) : clock(itsClock) {
    thread = std::thread([this] { run(); });
    pthread_setname_np(thread.native_handle(), name.substr(0, 15).c_str());
}

SerialQueue::~SerialQueue() {
    {
        const std::lock_guard guard(lock);
        ending = true;
    }
    changed.notify_one();
    thread.join();
}

void SerialQueue::dispatch(Work work) {
    {
        const std::lock_guard guard(lock);
        ready.push_back(std::move(work));
    }
    changed.notify_one();
}

void SerialQueue::dispatchAfter(std::chrono::milliseconds delay, Work work) {
    {
        const std::lock_guard guard(lock);
        delayed.emplace(clock.now() + delay, std::move(work));
    }
    changed.notify_one();
}

void SerialQueue::dispatchAndWait(Work work) {
    if (std::this_thread::get_id() == thread.get_id()) {
        work();
        return;
    }
    std::promise<void> done;
    dispatch([&] {
        work();
        done.set_value();
    });
    done.get_future().wait();
}

void SerialQueue::run() {
    std::unique_lock guard(lock);
    for (;;) {
        const auto now = clock.now();
        while (!delayed.empty() && delayed.begin()->first <= now)
            ready.push_back(std::move(delayed.extract(delayed.begin()).mapped()));
        if (!ready.empty()) {
            Work work = std::move(ready.front());
            ready.pop_front();
            guard.unlock();
            work();
            work = nullptr; // what it owned goes before the lock is taken again
            guard.lock();
        } else if (ending) {
            return;
        } else if (delayed.empty()) {
            changed.wait(guard);
        } else {
            changed.wait_until(guard, clock.wakeUp(delayed.begin()->first));
        }
    }
}

} // namespace backends::posix
