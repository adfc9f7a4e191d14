// An operation that was started and whose outcome comes later, on another thread.
//
// Whoever holds the Pending waits for it, or lets it go: that cancels the operation. The other end is the
// Promise. Both may be used by different threads at the same time.
#pragma once

#include "service/Outcome.h"

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>

namespace service {

namespace pending {

template <typename T>
struct Shared {
    std::mutex lock; // of all below
    std::condition_variable_any changed;
    std::optional<Outcome<T>> outcome;
    std::function<void()> cancel; // ends the operation; called at most once, without the lock

    void finish(Outcome<T> value) {
        std::lock_guard guard(lock);
        if (outcome) return; // cancelled meanwhile
        outcome = std::move(value);
        cancel = nullptr;
        changed.notify_all();
    }
    void end() {
        std::function<void()> hook;
        {
            std::lock_guard guard(lock);
            if (outcome) return;
            outcome = Failure{Trouble::cancelled, "cancelled"};
            hook = std::exchange(cancel, nullptr);
            changed.notify_all();
        }
        if (hook) hook();
    }
};

} // namespace pending

template <typename T>
class [[nodiscard]] Pending {
  public:
    explicit Pending(std::shared_ptr<pending::Shared<T>> state) : shared(std::move(state)) {}
    // One that has its outcome already.
    explicit Pending(Outcome<T> outcome) : shared(std::make_shared<pending::Shared<T>>()) {
        shared->outcome = std::move(outcome);
    }
    ~Pending() {
        if (shared) shared->end();
    }
    Pending(Pending&&) noexcept = default;
    Pending& operator=(Pending&& other) noexcept {
        std::swap(shared, other.shared); // what this one had ends with the other
        return *this;
    }

    // Whether `wait` would return at once.
    bool isOver() const {
        const std::lock_guard guard(shared->lock);
        return shared->outcome.has_value();
    }
    // The outcome; a request to stop ends the wait and cancels the operation. Once.
    Outcome<T> wait(const std::stop_token& stop = {}) {
        {
            std::unique_lock guard(shared->lock);
            if (shared->changed.wait(guard, stop, [this] { return shared->outcome.has_value(); }))
                return std::move(*shared->outcome);
        }
        shared->end();
        return Failure{Trouble::cancelled, "cancelled"};
    }

  private:
    std::shared_ptr<pending::Shared<T>> shared;
};

template <typename T>
class Promise {
  public:
    Promise() : shared(std::make_shared<pending::Shared<T>>()) {}

    Pending<T> pending() const { return Pending<T>(shared); }
    // How the operation is ended when nobody wants its outcome any more. Called on the thread that lets go.
    // At once when that is so already.
    // NOLINTNEXTLINE(performance-unnecessary-value-param): moved from, which is not seen in a template
    void onCancel(std::function<void()> hook) const {
        {
            std::lock_guard guard(shared->lock);
            if (!shared->outcome) {
                shared->cancel = std::move(hook);
                return;
            }
        }
        hook();
    }
    void finish(Outcome<T> outcome) const { shared->finish(std::move(outcome)); }

  private:
    std::shared_ptr<pending::Shared<T>> shared;
};

} // namespace service
