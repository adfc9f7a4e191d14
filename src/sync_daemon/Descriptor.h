// An open file that is closed with the object.
#pragma once

#include <unistd.h>

namespace sync_daemon {

class Descriptor {
  public:
    explicit Descriptor(int descriptor) : number(descriptor) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (number >= 0) ::close(number);
    }
    int get() const { return number; }
    explicit operator bool() const { return number >= 0; }

  private:
    int number;
};

} // namespace sync_daemon
