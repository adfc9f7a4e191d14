// A remote space whose answers come when told.
#pragma once

#include "panels/RemoteDirectories.h"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace panels {

// A remote space whose answers come when told: everything asked is kept until then.
struct StubbornSpace final : RemoteDirectories {
    std::map<std::string, std::vector<std::string>>
        folders;                      // what is listed; a folder that is not a key has no subfolders
    std::map<std::string, int> lists; // how often a folder was listed
    std::vector<std::function<void(bool answer)>> listing, counting;

    void directoriesNotInSyncAtRemoteDirecory(const std::string& path, Paths completion) override {
        ++lists[path];
        listing.emplace_back([this, path, completion](bool answer) {
            completion(answer ? std::optional(folders[path]) : std::nullopt);
        });
    }
    void countDirectoriesAtPath(const std::string& path, Count completion) override {
        counting.emplace_back([this, path, completion](bool answer) {
            completion(answer ? std::optional<std::uint64_t>(folders[path].size()) : std::nullopt);
        });
    }
    static void deliver(std::vector<std::function<void(bool)>>& asked, bool answer) {
        for (const auto& one : std::exchange(asked, {}))
            one(answer);
    }
    void answerAll() {
        deliver(listing, true);
        deliver(counting, true);
    }
};

} // namespace panels
