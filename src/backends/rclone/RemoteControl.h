// One rclone that serves its remote control to this process alone, and the questions put to it.
//
// The child listens on the loopback at a port of its own, with a name and a password that are new at each
// start; the child is told the password's digest alone, by a file in memory. It ends with this process,
// however that ends, and is started again when it dies. A question that finds no child waits for the next
// one; one that was under way when it died fails as unreachable, since nobody knows how far it came.
//
// Threads: any may ask. One thread of the object's own does the rest, and calls the answers back: they only
// hand on. While nothing is asked it sleeps without a timer.
#pragma once

#include "platform/Clock.h"
#include "platform/ProcessLog.h"
#include "platform/Value.h"
#include "service/Outcome.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace backends::rclone {

class RemoteControl {
  public:
    struct Settings {
        std::string program = "/usr/bin/rclone";
        // The whole environment of the child but for what this class adds, as "NAME=value"; RCLONE_CONFIG and
        // RCLONE_CONFIG_PASS among them where they are needed.
        std::vector<std::string> environment;
        std::size_t questions = 8; // at the same time
        std::chrono::milliseconds startLimit{20000};
    };
    using Answer = std::function<void(service::Outcome<std::string>)>; // the reply's text

    RemoteControl(Settings settings, platform::ProcessLog& log,
                  const platform::Clock& clock = platform::machineClock());
    ~RemoteControl(); // what is under way is cancelled, the child killed and reaped
    RemoteControl(const RemoteControl&) = delete;
    RemoteControl& operator=(const RemoteControl&) = delete;

    // Puts a question, such as "operations/list", with its arguments. The limit counts from when it is sent.
    // The answer comes once, unless `end` is first; it may come before this returns.
    std::uint64_t ask(const std::string& command, const platform::Dictionary& arguments,
                      std::chrono::milliseconds limit, Answer answer);
    // Bytes a second of all transfers together, as rclone writes it, or "off": at once, and of each later
    // child.
    void setBandwidth(const std::string& rate);
    // Closes the question's connection, which makes rclone give up what it was doing.
    void end(std::uint64_t question);

  private:
    class Loop;
    std::unique_ptr<Loop> loop;
};

// The oldest version whose behaviour is known.
inline constexpr int oldestVersion[] = {1, 60};

} // namespace backends::rclone
