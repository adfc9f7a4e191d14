// One connection to the session bus, with a thread of its own that reads it.
//
// The connection of the bus library is safe to use from any thread, but it runs its callbacks with its
// own lock held: a callback must not take a lock that another thread holds while it sends. Callbacks here
// therefore only decode and hand on to a queue.
//
// A bus that goes away is lost for good: sending raises an error, and `onLost` is called once. The program
// goes on.
#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace backends::dbus {

// The connection itself, with the means to wake the thread that reads it. A call that is answered late holds
// on to it: then the answer goes nowhere, but harmlessly, when the bus has ended meanwhile.
class BusLink {
  public:
    BusLink();
    ~BusLink();
    BusLink(const BusLink&) = delete;
    BusLink& operator=(const BusLink&) = delete;

    void wake();

    // The same after something without a deadline was sent: only when it could not be written at once.
    void wakeIfUnwritten();

  private:
    friend class Bus;
    std::unique_ptr<sdbus::IConnection> connection;
    int wakeUp = -1; // eventfd
};

// Whether a call ended because nobody answered it in time: any other error is an answer, too.
bool isWithoutAnswer(const sdbus::Error& error);

class Bus {
  public:
    // Connects to the session bus. Raises sdbus::Error when there is none.
    explicit Bus(std::string threadName);
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    sdbus::IConnection& connection() { return *link->connection; }
    std::shared_ptr<BusLink> sharedLink() const { return link; }

    // Starts the thread. What is called back runs on it. Called once, after the first registrations.
    void start(std::function<void()> onLost);

    // To be called after sending or registering from another thread: it then sees to what could not be
    // written at once, to a new deadline, and to what a waiting call left unread.
    void wake() { link->wake(); }
    void wakeIfUnwritten() { link->wakeIfUnwritten(); }

    bool isLost() const { return lost; }

    // Whether the bus's thread reads and is not the one that asks. Then nobody else may wait for an answer by
    // a call that reads by itself: when a callback does the same, the two wait for each other forever.
    bool isReadByAnother() const {
        const std::thread::id now = reader;
        return now != std::thread::id() && now != std::this_thread::get_id();
    }

  private:
    void run();

    std::string name;
    std::shared_ptr<BusLink> link = std::make_shared<BusLink>();
    std::function<void()> lostHandler;
    std::atomic<bool> ending = false;
    std::atomic<bool> lost = false;
    std::atomic<std::thread::id> reader;
    std::thread thread;
};

} // namespace backends::dbus
