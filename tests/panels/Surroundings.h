// What both panels stand on in tests: a queue that runs when told, and a log that keeps its lines.
#pragma once

#include "platform/ProcessLog.h"
#include "platform/Queue.h"

#include <deque>
#include <string>
#include <utility>
#include <vector>

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

struct KeepingLog final : platform::ProcessLog {
    std::vector<std::string> lines;
    bool isOn(platform::LogLevel) const override { return true; }
    void write(platform::LogLevel, std::string_view line) override { lines.emplace_back(line); }
};

} // namespace panels
