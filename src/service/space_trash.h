// The trash of a space: what was deleted or replaced there, under the private folder. Each entry is a folder
// that holds one item under the whole path that it had, and whose name tells when it came and, by a digest
// of that path, what it is: finding an item takes one list.
//
// Threads: any; nothing is kept between two calls but in `seenFile`.
#pragma once

#include "service/RemoteSpace.h"

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <stop_token>
#include <string>

namespace service::trash {

// Where an item of the space goes that is to lie in the trash: a place that nothing has.
std::string newPlace(const std::string& path, std::chrono::sys_seconds now);

// Brings an item back, the one that came last, also out of a folder that was thrown away with it. Where its
// name is taken, beside it under a numbered one. The path at which it lies now.
Outcome<std::string> restore(RemoteSpace& space, const std::string& path, const std::stop_token& stop);

struct Ages {
    std::chrono::days trash{30}; // 0: never
    std::chrono::days leftovers{7};
};

// Removes what is too old: of the trash, and of what uploads of any computer left under private names. Old
// is what its name says, and what lies there since this computer saw it first, by `seenFile`: a clock that
// is wrong for an hour, here or elsewhere, must not empty the trash of everybody. The number that went.
Outcome<std::size_t> removeOld(RemoteSpace& space, const std::filesystem::path& seenFile, const Ages& ages,
                               std::chrono::sys_seconds now, const std::stop_token& stop);

} // namespace service::trash
