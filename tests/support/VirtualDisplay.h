// A display of the test's own.
#pragma once

#include <sys/prctl.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace support {

// An X server without a screen, and the environment that leads to it. It ends with the object. Its number is
// this process's own: two servers that each look for a free one at the same time may both find the same.
class VirtualDisplay {
  public:
    VirtualDisplay() {
        int number[2];
        if (::pipe(number) != 0) return;
        const std::string name = ":" + std::to_string(1000 + ::getpid() % 50'000);
        process = ::fork();
        if (process == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            const std::string file = std::to_string(number[1]);
            ::execlp("Xvfb", "Xvfb", name.c_str(), "-displayfd", file.c_str(), "-screen", "0", "1280x800x24",
                     "-noreset", "-nolisten", "tcp", static_cast<char*>(nullptr));
            ::_exit(127);
        }
        ::close(number[1]);
        char digit = 0;
        while (::read(number[0], &digit, 1) == 1 && digit != '\n') { // until it serves
        }
        ::close(number[0]);
        ::setenv("DISPLAY", name.c_str(), 1);
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
