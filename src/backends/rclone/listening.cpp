#include "backends/rclone/listening.h"

#include <array>
#include <cstdio>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <unistd.h>

namespace backends::rclone {

bool listensHere(int port) {
    // The address as the machine's own number, the port as it is written.
    std::array<char, sizeof "0100007F:FFFF"> wanted{};
    std::snprintf(wanted.data(), wanted.size(), "0100007F:%04X", static_cast<unsigned>(port) & 0xFFFFU);
    std::ifstream sockets("/proc/self/net/tcp");
    sockets.ignore(std::numeric_limits<std::streamsize>::max(), '\n'); // the columns' names
    for (std::string line; std::getline(sockets, line);) {
        std::istringstream columns(line);
        std::string slot, local, remote, state, queues, timer, retransmits;
        long user = -1;
        columns >> slot >> local >> remote >> state >> queues >> timer >> retransmits >> user;
        if (state == "0A" && local == wanted.data()) return user == static_cast<long>(::getuid());
    }
    return false;
}

} // namespace backends::rclone
