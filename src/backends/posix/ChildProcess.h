// A program that is started, can be given one text, and is read line by line.
//
// One thread at a time uses an object, but for interrupt(). A child that does not answer in time is given up
// by letting the object go: that kills and reaps it. Nothing the child does can end or block its parent
// beyond the deadlines.
#pragma once

#include "platform/Clock.h"

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace backends::posix {

class ChildProcess {
  public:
    using Deadline = platform::Clock::TimePoint;
    static constexpr std::size_t longestLine = std::size_t{1} << 20; // bytes

    struct Start {
        std::string program;                  // absolute path
        std::vector<std::string> environment; // the whole of it, as "NAME=value"
        // Whether the kernel kills the child when this process ends, or the thread that started it does.
        bool endsWithParent = true;
        std::vector<std::string> arguments{}; // without the program's name
        std::vector<int> inherited{};         // descriptors that the child has too, under the same numbers
    };

    // Standard error is shared with the parent; signals are as at a program's start. Raises
    // std::system_error when no process can be made. A program that cannot be run ends with status 127.
    // The clock, by which the deadlines are kept, outlives the object.
    explicit ChildProcess(const Start& start, const platform::Clock& clock = platform::machineClock());
    ~ChildProcess(); // kills it when it still runs
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Writes the text to the child's standard input and ends that. False when the child did not take it all
    // before the deadline.
    bool write(const std::string& text, Deadline deadline);

    // The next line of the child's standard output, without its line end. None when the output or the time
    // ends first, or when the line is longer than longestLine. No deadline: as long as it takes.
    std::optional<std::string> readLine(std::optional<Deadline> deadline);

    // Ends a write or a read that is under way, and each later one at once, as if its time were over. Any
    // thread.
    void interrupt();

    // Whether the child has ended; does not wait.
    bool hasEnded();
    // Waits for the child to end. Its exit status, or minus the signal that ended it.
    int wait();

  private:
    bool isReady(int file, short events, std::optional<Deadline> deadline) const;
    void setStatus(int waitStatus);

    const platform::Clock& clock;
    pid_t process = -1; // until it was reaped
    int exitStatus = 0; // then
    int input = -1;     // a socket: writing to a child that has gone raises no signal
    int output = -1;
    int interruption = -1; // eventfd
    std::string unread;
};

} // namespace backends::posix
