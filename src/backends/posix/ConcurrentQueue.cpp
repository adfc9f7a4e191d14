#include "backends/posix/ConcurrentQueue.h"

#include <future>
#include <pthread.h>
#include <thread>
#include <utility>

namespace backends::posix {

ConcurrentQueue::ConcurrentQueue(std::string name, unsigned maximumThreads, const platform::Clock& clock)
    : state(std::make_shared<State>(std::move(name), maximumThreads, clock)) {}

ConcurrentQueue::~ConcurrentQueue() {
    {
        const std::lock_guard guard(state->lock);
        state->ending = true;
        state->ready.clear();
        state->delayed.clear();
    }
    state->changed.notify_all();
}

void ConcurrentQueue::dispatch(Work work) {
    const std::lock_guard guard(state->lock);
    state->ready.push_back(std::move(work));
    wakeThread(state);
}

void ConcurrentQueue::dispatchAfter(std::chrono::milliseconds delay, Work work) {
    const std::lock_guard guard(state->lock);
    state->delayed.emplace(state->clock.now() + delay, std::move(work));
    if (state->isTimed)
        state->changed.notify_all(); // it may be the first one now
    else
        wakeThread(state);
}

void ConcurrentQueue::wakeThread(const std::shared_ptr<State>& state) {
    if (state->idle != 0 && state->ready.size() <= state->idle) {
        state->changed.notify_one();
    } else if (state->threads < state->maximumThreads) {
        ++state->threads;
        std::thread thread([state] { run(state); });
        pthread_setname_np(thread.native_handle(), state->name.substr(0, 15).c_str());
        thread.detach();
    }
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
        const auto now = state->clock.now();
        while (!state->delayed.empty() && state->delayed.begin()->first <= now)
            state->ready.push_back(std::move(state->delayed.extract(state->delayed.begin()).mapped()));
        if (state->ready.empty()) {
            ++state->idle;
            if (state->delayed.empty() || state->isTimed) {
                state->changed.wait(guard);
            } else {
                state->isTimed = true;
                const auto due = state->delayed.begin()->first; // whose entry may go meanwhile
                state->changed.wait_until(guard, state->clock.wakeUp(due));
                state->isTimed = false;
            }
            --state->idle;
            continue;
        }
        Work work = std::move(state->ready.front());
        state->ready.pop_front();
        // What else is due, and the wait for what is not yet, pass to another thread.
        if (!state->ready.empty() || (!state->delayed.empty() && !state->isTimed)) wakeThread(state);
        guard.unlock();
        work();
        work = nullptr;
        guard.lock();
    }
}

} // namespace backends::posix
