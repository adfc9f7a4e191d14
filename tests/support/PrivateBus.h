// A session bus of the test's own: a real dbus-daemon, and the environment that leads to it. It ends with
// the object, whatever happens in the test.
#pragma once

#include <sys/prctl.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace support {

class PrivateBus {
  public:
    PrivateBus() {
        int address[2];
        if (::pipe(address) != 0) throw std::runtime_error("pipe");
        process = ::fork();
        if (process == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that crashes leaves no bus behind
            ::dup2(address[1], 3);
            ::execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--nopidfile",
                     "--print-address=3", static_cast<char*>(nullptr));
            ::_exit(127);
        }
        ::close(address[1]);
        std::string text;
        for (char c = 0; ::read(address[0], &c, 1) == 1 && c != '\n';)
            text += c;
        ::close(address[0]);
        if (text.empty()) throw std::runtime_error("dbus-daemon did not start");
        ::setenv("DBUS_SESSION_BUS_ADDRESS", text.c_str(), 1);
    }
    ~PrivateBus() { stop(); }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    void stop() {
        if (process <= 0) return;
        ::kill(process, SIGTERM);
        ::waitpid(process, nullptr, 0);
        process = -1;
    }

  private:
    pid_t process = -1;
};

} // namespace support
