// Which mount a path lies on, and where else it can be reached, told from the kernel's table alone: no file
// system is touched, so a dead one cannot hang the question. Links are not followed: a path is taken as it is
// spelled.
//
// Source: proc(5), /proc/PID/mountinfo.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace backends::posix {

// The mount points at one moment.
class MountPoints {
  public:
    // The lines of the kernel's table; one that is none is passed over.
    explicit MountPoints(const std::string& table);

    bool contains(std::string_view path) const { return topmost.find(path) != topmost.end(); }

    // The mount point nearest above the path, or the path itself when it is one; "/" if there is no nearer
    // one. Borrowed from the path.
    std::string_view of(std::string_view path) const;

    // Where else the directory can be reached that is mounted at the mount point: through the mounts that
    // show more of the same file system. None when it is no bind mount. What they lead to may be hidden by a
    // later mount, so it has to be compared.
    std::vector<std::string> otherPathsOf(std::string_view mountPoint) const;

  private:
    struct Mount {
        std::string path;
        std::string device; // of the file system
        std::string root;   // the directory of the file system that is shown
    };
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
    };
    std::vector<Mount> mounts; // in the order of the table: later ones lie above
    std::unordered_map<std::string, std::size_t, Hash, std::equal_to<>> topmost;
};

class MountTable {
  public:
    MountTable();
    ~MountTable();
    MountTable(const MountTable&) = delete;
    MountTable& operator=(const MountTable&) = delete;

    // Never null. Reads the kernel's table again when it has changed. Any thread.
    std::shared_ptr<const MountPoints> current();

  private:
    void read();

    std::mutex lock;
    int table = -1; // open file of the kernel's table; it signals changes
    std::shared_ptr<const MountPoints> mountPoints;
};

} // namespace backends::posix
