// Which mount a path lies on, told from the kernel's table alone: no file system is touched, so a dead one
// cannot hang the question. Links are not followed: a path is taken as it is spelled.
//
// Source: proc(5), /proc/PID/mountinfo.
#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <unordered_set>

namespace backends::posix {

class MountTable {
  public:
    MountTable();
    ~MountTable();
    MountTable(const MountTable&) = delete;
    MountTable& operator=(const MountTable&) = delete;

    // The mount point nearest above the path, "/" at last. Reads the table again when it has changed.
    // Any thread.
    std::string mountPointOf(std::string_view path);

  private:
    void read();

    std::mutex lock;
    int table = -1; // open file of the kernel's table; it signals changes
    std::unordered_set<std::string> mountPoints;
};

} // namespace backends::posix
