// How many bytes of ours wait on the bus because the process that they are for does not read them.
//
// The bus keeps what a process does not read and counts it against the sender; beyond its limit it reads no
// more from the sender. So one process that does not read would silence this one for all others. What is sent
// to each is therefore counted, and where that seems much, the bus is asked how much of it is left
// (GetConnectionStats of org.freedesktop.DBus.Debug.Stats). A bus that cannot tell is taken to have bounds of
// its own, as dbus-broker has; while it does not answer in time, what was counted stays counted.
//
// Any thread. Nothing is locked while the bus is asked.
#pragma once

#include "backends/dbus/Bus.h"
#include "platform/Clock.h"

#include <chrono>
#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

namespace backends::dbus {

// About the size of a message on the bus: of one with nothing in it, of a menu, of each text beside its
// bytes.
inline constexpr std::size_t emptyMessage = 200;
inline constexpr std::size_t menuMessage = 2000;
inline constexpr std::size_t textFrame = 8;

class UnreadBytes {
  public:
    // The bus outlives this object.
    UnreadBytes(Bus& sharedBus, const platform::Clock& clock);

    // A process is known, by its unique name, from its first call until it leaves the bus.
    void comes(const std::string& process);
    bool leaves(const std::string& process); // whether it was known

    // Sizes may be estimates. What is for a process that is not known is not counted.
    void sent(const std::string& process, std::size_t bytes);

    // Whether more than that many bytes wait for the process, as far as is known. Asks the bus when it seems
    // so, and waits for its answer; when it was so, not again for a tenth of a second. While more than
    // `mostTogether` wait for all processes, the limit of each is at most `leastLimit`: many that do not read
    // take no more of the bus than one, and one that reads is only looked at more often.
    bool exceeds(const std::string& process, std::size_t limit);

    static constexpr std::size_t mostTogether = std::size_t{32} << 20;
    static constexpr std::size_t leastLimit = std::size_t{16} << 10;

  private:
    struct Account {
        std::size_t waiting = 0;             // bytes, at most
        platform::Clock::TimePoint nextLook; // not before
    };
    // What the bus holds for the process: 0 when it cannot tell, none when it does not answer in time.
    std::optional<std::size_t> ask(const std::string& process);
    std::optional<std::size_t> askThroughReader(const std::string& process);

    // Under the lock.
    void set(Account& account, std::size_t bytes) {
        together = together - account.waiting + bytes;
        account.waiting = bytes;
    }

    Bus& bus;
    const platform::Clock& clock;
    std::unique_ptr<sdbus::IProxy> proxy;
    std::mutex lock;
    std::unordered_map<std::string, Account> accounts; // guarded by the lock
    std::size_t together = 0;                          // of all accounts; guarded by the lock
};

} // namespace backends::dbus
