// Which mount a path lies on, told from the kernel's table alone: no file system is touched, so a dead one
// cannot hang the question. Links are not followed: a path is taken as it is spelled.
//
// Source: proc(5), /proc/PID/mountinfo.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_set>

namespace backends::posix {

// The mount points at one moment.
class MountPoints {
  public:
    void add(std::string path) { paths.insert(std::move(path)); }
    bool contains(std::string_view path) const { return paths.find(path) != paths.end(); }

    // The mount point nearest above the path, or the path itself when it is one; "/" if there is no nearer
    // one. Borrowed from the path.
    std::string_view of(std::string_view path) const;

  private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
    };
    std::unordered_set<std::string, Hash, std::equal_to<>> paths;
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
