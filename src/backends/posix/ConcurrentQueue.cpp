#include "backends/posix/ConcurrentQueue.h"

#include <future>
#include <pthread.h>
#include <thread>
#include <utility>

namespace backends::posix {

ConcurrentQueue::ConcurrentQueue(std::string queueName, unsigned threadLimit)
    : name(std::move(queueName)), maximumThreads(threadLimit) {}

ConcurrentQueue::~ConcurrentQueue() {
    {
        const std::lock_guard guard(state->lock);
        state->ending = true;
        state->ready.clear();
    }
    state->changed.notify_all();
}

void ConcurrentQueue::dispatch(Work work) {
    const std::lock_guard guard(state->lock);
    state->ready.push_back(std::move(work));
    if (state->ready.size() <= state->idle) {
        state->changed.notify_one();
    } else if (state->threads < maximumThreads) {
        ++state->threads;
        std::thread thread([shared = state] { run(shared); });
        pthread_setname_np(thread.native_handle(), name.substr(0, 15).c_str());
        thread.detach();
    }
}

void ConcurrentQueue::dispatchAfter(std::chrono::milliseconds delay, Work work) {
    dispatch([delay, shared = state, late = std::move(work)] {
        std::unique_lock guard(shared->lock);
        shared->changed.wait_for(guard, delay, [&] { return shared->ending; });
        const bool ending = shared->ending;
        guard.unlock();
        if (!ending) late();
    });
}

void ConcurrentQueue::dispatchAndWait(Work work) {
    std::promise<void> done;
    dispatch([&] {
        work();
        done.set_value();
    });
    done.get_future().wait();
}

void ConcurrentQueue::run(const std::shared_ptr<State>& state) {
    std::unique_lock guard(state->lock);
    while (!state->ending) {
        if (state->ready.empty()) {
            ++state->idle;
            state->changed.wait(guard);
            --state->idle;
            continue;
        }
        Work work = std::move(state->ready.front());
        state->ready.pop_front();
        guard.unlock();
        work();
        work = nullptr;
        guard.lock();
    }
}

} // namespace backends::posix
