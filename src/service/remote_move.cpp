#include "service/remote_move.h"

namespace service {

Outcome<bool> isInSpace(RemoteSpace& space, const std::string& path, const std::stop_token& stop) {
    const auto item = space.look(path, false).wait(stop);
    if (!item && item.failure().trouble == Trouble::missing) return false;
    if (!item) return item.failure();
    return item->has_value();
}

Outcome<Done> moveIfFree(RemoteSpace& space, const std::string& from, const std::string& to, bool isFolder,
                         const std::stop_token& stop) {
    const Failure taken{Trouble::missing, to + " is taken by something else"};
    if (isFolder) { // one that is there would be filled up with what is in this one
        const auto isTaken = isInSpace(space, to, stop);
        if (!isTaken) return isTaken.failure();
        if (*isTaken) return taken;
    }
    const auto moved = (isFolder ? space.moveFolder(from, to) : space.moveFile(from, to)).wait(stop);
    if (!moved) return moved.failure();
    const auto isLeft = isInSpace(space, from, stop);
    if (!isLeft) return isLeft.failure();
    if (*isLeft) return taken;
    return Done{};
}

} // namespace service
