// A queue that runs when told.
#pragma once

#include "platform/Queue.h"

#include <deque>
#include <utility>

namespace panels {

struct SteppedQueue final : platform::Queue {
    std::deque<Work> waiting;
    void dispatch(Work work) override { waiting.push_back(std::move(work)); }
    void dispatchAfter(std::chrono::milliseconds, Work work) override { dispatch(std::move(work)); }
    void dispatchAndWait(Work work) override { work(); }
    void runAll() {
        while (!waiting.empty()) {
            const Work work = std::move(waiting.front());
            waiting.pop_front();
            work();
        }
    }
};

} // namespace panels
