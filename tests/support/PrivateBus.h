// A session bus of the test's own: a real dbus-daemon, and the environment that leads to it. It starts no
// service, whatever is installed on the machine, unless a configuration of its own says so. It ends with the
// object, whatever happens in the test.
#pragma once

#include "tests/support/Programs.h"

#include <cstdlib>
#include <stdexcept>

namespace support {

class PrivateBus {
  public:
    PrivateBus() : PrivateBus(TSYNCFINDER_PRIVATE_BUS) {}
    explicit PrivateBus(const std::string& configuration)
        : process(
              {"dbus-daemon", "--config-file=" + configuration, "--nofork", "--nopidfile", "--print-address"},
              address) {
        if (address.empty()) throw std::runtime_error("dbus-daemon did not start");
        ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
    }
    ~PrivateBus() { stop(); }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    void stop() { process.end(SIGTERM); }
    void send(int signal) const { process.send(signal); }

  private:
    std::string address;
    Program process;
};

} // namespace support
