// A display of the test's own.
#pragma once

#include "tests/support/Programs.h"

#include <cstdlib>
#include <stdexcept>

namespace support {

// An X server without a screen, and the environment that leads to it. It ends with the object. Its number is
// this process's own: two servers that each look for a free one at the same time may both find the same.
class VirtualDisplay {
  public:
    VirtualDisplay() {
        if (number.empty()) throw std::runtime_error("Xvfb did not start");
        ::setenv("DISPLAY", name.c_str(), 1);
    }
    ~VirtualDisplay() { server.end(SIGTERM); }
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;

  private:
    const std::string name = ":" + std::to_string(1000 + ::getpid() % 50'000);
    std::string number;
    // Without a key's repetition: a program that presses one may be held up before it lets go. Nor with
    // OpenGL, for which it would load a compiler.
    Program server{{"Xvfb", name, "-screen", "0", "1280x800x24", "-extension", "GLX", "-noreset", "-r",
                    "-nolisten", "tcp", "-displayfd"},
                   number};
};

} // namespace support
