// A daemon on the bus whose every answer the test decides.
#pragma once

#include "backends/dbus/Bus.h"
#include "backends/dbus/DaemonService.h"
#include "platform/RequestService.h"
#include "tests/support/fakes.h"

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace support {

class TestDaemon final : public platform::RequestService {
  public:
    using Answer = std::function<void(std::string_view message, const platform::Array& arguments,
                                      platform::ReplyHandler)>;

    explicit TestDaemon(Answer behaviour)
        : answerer(std::move(behaviour)), bus("test-daemon"), service(bus, *this) {
        bus.start([] {});
        service.requestName();
    }

    void answer(std::string_view message, const platform::Array& arguments,
                platform::ReplyHandler handler) override {
        answerer(message, arguments, std::move(handler));
        const std::lock_guard guard(lock);
        messages.emplace_back(message);
        arrived.notify_all();
    }
    bool waitFor(std::string_view message, std::ptrdiff_t times = 1) {
        std::unique_lock guard(lock);
        return arrived.wait_for(
            guard, deadline, [&] { return std::count(messages.begin(), messages.end(), message) >= times; });
    }

  private:
    Answer answerer;
    std::mutex lock;
    std::condition_variable arrived;
    std::vector<std::string> messages;
    backends::dbus::Bus bus;
    backends::dbus::DaemonService service;
};

inline platform::Reply valueReply(platform::Value value) {
    return {platform::Reply::Kind::value, std::move(value), std::nullopt};
}

} // namespace support
