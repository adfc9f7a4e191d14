// Tells when other machines may be reached again: an address or a route has come (rtnetlink(7)).
//
// Events close together come as one call. Nothing runs while nothing happens: one thread sleeps in the
// kernel.
#pragma once

#include <functional>
#include <thread>

namespace backends::posix {

class NetworkEvents {
  public:
    // The handler runs on the object's own thread. Where the kernel tells nothing there are no calls.
    explicit NetworkEvents(std::function<void()> came);
    ~NetworkEvents(); // waits for a handler that runs; not from the handler
    NetworkEvents(const NetworkEvents&) = delete;
    NetworkEvents& operator=(const NetworkEvents&) = delete;

  private:
    void run() const;

    const std::function<void()> handler;
    int link = -1;
    int end = -1; // eventfd
    std::thread thread;
};

} // namespace backends::posix
