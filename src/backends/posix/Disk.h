// The disk itself, asked without a guard: a call takes as long as the disk takes, for ever on a dead mount.
#pragma once

#include "backends/posix/MountTable.h"
#include "platform/FileSystem.h"

#include <optional>
#include <string>
#include <vector>

namespace backends::posix {

// Replaced only to inject a disk that is slow or hangs. Any thread, several at once.
class Disk {
  public:
    virtual ~Disk() = default;
    virtual bool exists(const std::string& path) const = 0; // links resolved
    virtual std::optional<platform::FileKind> kind(const std::string& path) const = 0;
    virtual std::vector<std::string> entryNames(const std::string& path) const = 0;
};

class PosixDisk final : public Disk {
  public:
    bool exists(const std::string& path) const override;
    std::optional<platform::FileKind> kind(const std::string& path) const override;
    std::vector<std::string> entryNames(const std::string& path) const override;

  private:
    mutable MountTable mounts;
};

} // namespace backends::posix
