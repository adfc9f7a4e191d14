// The wish of whoever no longer waits for something under way that it be given up.
//
// Any thread may use an object; it stays cancelled for good.
#pragma once

#include "platform/Subscription.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace platform {

class Cancellation {
  public:
    // Calls the handlers, on this thread.
    void cancel() {
        std::map<int, std::function<void()>> called;
        {
            const std::lock_guard guard(state->lock);
            state->isCancelled = true;
            called.swap(state->handlers);
        }
        for (const auto& [number, handler] : called)
            handler();
    }

    bool isCancelled() const {
        const std::lock_guard guard(state->lock);
        return state->isCancelled;
    }

    // The handler is called once; at once when it is cancelled already.
    [[nodiscard]] Subscription whenCancelled(std::function<void()> handler) {
        {
            const std::lock_guard guard(state->lock);
            if (!state->isCancelled) {
                state->handlers.emplace(++state->last, std::move(handler));
                return Subscription([shared = state, number = state->last] {
                    const std::lock_guard inner(shared->lock);
                    shared->handlers.erase(number);
                });
            }
        }
        handler();
        return {};
    }

  private:
    struct State {
        std::mutex lock;
        bool isCancelled = false;
        int last = 0;
        std::map<int, std::function<void()>> handlers;
    };
    std::shared_ptr<State> state = std::make_shared<State>();
};

} // namespace platform
