// What keeps an observer registered: letting it go ends the registration. After that no new call of the
// handler starts; one that is running on another thread may still finish.
#pragma once

#include <functional>
#include <utility>

namespace platform {

class Subscription {
  public:
    Subscription() = default;
    explicit Subscription(std::function<void()> end) : release(std::move(end)) {}
    Subscription(Subscription&& other) noexcept : release(std::exchange(other.release, nullptr)) {}
    Subscription& operator=(Subscription&& other) noexcept {
        if (this != &other) {
            end();
            release = std::exchange(other.release, nullptr);
        }
        return *this;
    }
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
    ~Subscription() { end(); }

    void end() {
        if (const auto once = std::exchange(release, nullptr)) once();
    }

  private:
    std::function<void()> release;
};

} // namespace platform
