// What an operation on a storage comes to: a value, or what went wrong in words and as a kind to act on.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>

namespace service {

// A failure does not mean that nothing happened: whoever changes something looks again before going on.
enum class Trouble : std::uint8_t {
    missing,     // the item, or the folder that should hold it, is not there
    refused,     // the storage does not want it: no permission, read-only, wrong password
    full,        // no room left where it goes
    fullHere,    // no room left on this machine for what is needed to do it
    unreachable, // no answer, or none before the deadline: network, server or helper program
    cancelled,   // by whoever asked
    impossible,  // the storage has no such operation
    other,
};

struct Failure {
    Trouble trouble = Trouble::other;
    std::string text; // for the log and for a person; never holds a credential
};

template <typename T>
class Outcome {
  public:
    Outcome(T value) : content(std::move(value)) {}
    Outcome(Failure failure) : content(std::move(failure)) {}

    explicit operator bool() const { return std::holds_alternative<T>(content); }
    // Only when it is one.
    const T& operator*() const { return std::get<T>(content); }
    T& operator*() { return std::get<T>(content); }
    const T* operator->() const { return &std::get<T>(content); }
    const Failure& failure() const { return std::get<Failure>(content); }

  private:
    std::variant<T, Failure> content;
};

struct Done {}; // of an operation that only succeeds

} // namespace service
