// Signals by which a person or the system ends the program, while it writes files.
#pragma once

#include <array>
#include <csignal>

namespace dirsnapshot_tool {

// While this lives SIGINT, SIGTERM and SIGHUP do not end the program. Afterwards the program ends by the
// first that came: what was being written is whole then, or gone as after any other failure. A call of the
// system that waits, as for the reader of a pipe, is interrupted by it and fails. One at a time.
class SignalsAfterwards {
  public:
    SignalsAfterwards();
    ~SignalsAfterwards();
    SignalsAfterwards(const SignalsAfterwards&) = delete;
    SignalsAfterwards& operator=(const SignalsAfterwards&) = delete;

  private:
    static constexpr std::array<int, 3> kSignals{SIGINT, SIGTERM, SIGHUP};

    std::array<struct sigaction, kSignals.size()> _before{};
};

} // namespace dirsnapshot_tool
