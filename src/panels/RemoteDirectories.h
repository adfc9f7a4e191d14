// The remote folders as the destination panel asks for them, without waiting.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace panels {

class RemoteDirectories {
  public:
    // Each completion runs once, on the main thread, at once or later: with the answer, or with none when
    // none came in time. Requests are under way side by side. A completion may run after its asker has gone;
    // the asker guards against that itself.
    using Paths = std::function<void(std::optional<std::vector<std::string>>)>;
    using Count = std::function<void(std::optional<std::uint64_t>)>;

    virtual ~RemoteDirectories() = default;

    // Full remote paths of the subfolders that are not in sync, in the daemon's order.
    virtual void directoriesNotInSyncAtRemoteDirecory(const std::string& remotePath, Paths completion) = 0;
    virtual void countDirectoriesAtPath(const std::string& remotePath, Count completion) = 0;
};

} // namespace panels
