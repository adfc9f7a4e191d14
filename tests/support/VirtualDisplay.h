// A display of the test's own.
#pragma once

#include <sys/prctl.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace support {

// An X server without a screen, on a display number that it chooses itself, and the environment that leads to
// it. It ends with the object.
class VirtualDisplay {
  public:
    VirtualDisplay() {
        int number[2];
        if (::pipe(number) != 0) return;
        process = ::fork();
        if (process == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            const std::string file = std::to_string(number[1]);
            ::execlp("Xvfb", "Xvfb", "-displayfd", file.c_str(), "-screen", "0", "1280x800x24", "-nolisten",
                     "tcp", static_cast<char*>(nullptr));
            ::_exit(127);
        }
        ::close(number[1]);
        std::string text;
        for (char c = 0; ::read(number[0], &c, 1) == 1 && c != '\n';)
            text += c;
        ::close(number[0]);
        ::setenv("DISPLAY", (":" + text).c_str(), 1);
    }
    ~VirtualDisplay() {
        ::kill(process, SIGTERM);
        ::waitpid(process, nullptr, 0);
    }
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;

  private:
    pid_t process = -1;
};

} // namespace support
