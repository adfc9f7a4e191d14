// A machine of a person with a pair on a real storage, which answers wrongly on demand.
#pragma once

#include "backends/rclone/RcloneSpace.h"
#include "service/WatchedSpace.h"
#include "tests/service/Computer.h"
#include "tests/support/StorageServers.h"

namespace service {

inline support::StorageServers& servers() {
    static support::StorageServers all;
    return all;
}

// One for all machines of the program: a start of rclone costs more than most cases. What is two programs in
// the world is two in sync_service_test and in rounds.
inline backends::rclone::RemoteControl& control() {
    static support::RecordingLog log;
    static backends::rclone::RemoteControl one{[] {
                                                   backends::rclone::RemoteControl::Settings settings;
                                                   settings.environment = servers().environment();
                                                   return settings;
                                               }(),
                                               log};
    return one;
}

// A storage that answers wrongly on demand: what a hook returns is its answer.
class FaultySpace final : public WatchedSpace {
  public:
    using Items = std::vector<RemoteItem>;
    explicit FaultySpace(RemoteSpace& real) : WatchedSpace(real, [](const auto&) {}) {}
    std::function<std::optional<Outcome<Items>>(const std::string& folder)> lists;
    std::function<std::optional<Outcome<std::optional<RemoteItem>>>(const std::string& path)> looks;
    std::function<void(const std::string& folder, Items& items)> edits; // of true lists
    std::function<void(const std::string& to)> movesTo;                 // before a move
    Pending<Items> list(const std::string& folder, bool withDigests) override {
        if (const auto answer = lists ? lists(folder) : std::nullopt) return Pending<Items>(*answer);
        auto items = WatchedSpace::list(folder, withDigests).wait();
        if (items && edits) edits(folder, *items);
        return Pending<Items>(std::move(items));
    }
    Pending<std::optional<RemoteItem>> look(const std::string& path, bool withDigests) override {
        if (const auto answer = looks ? looks(path) : std::nullopt)
            return Pending<std::optional<RemoteItem>>(*answer);
        return WatchedSpace::look(path, withDigests);
    }
    Pending<Done> moveFile(const std::string& path, const std::string& to) override {
        if (movesTo) movesTo(to);
        return WatchedSpace::moveFile(path, to);
    }
    Pending<Done> moveFolder(const std::string& path, const std::string& to) override {
        if (movesTo) movesTo(to);
        return WatchedSpace::moveFolder(path, to);
    }
};

// What a machine reaches a real storage by.
struct StorageAccess {
    explicit StorageAccess(const std::string& storage) : real(control(), storage, links.path()) {}
    support::TemporaryFolder links;
    backends::rclone::RcloneSpace real;
    FaultySpace space{real};
};

class StorageComputer : public StorageAccess, public Computer {
  public:
    StorageComputer(const fs::path& place, const std::string& storage, const std::string& name)
        : StorageAccess(storage), Computer(place, space, name) {
        tellsUnrest = true;
    }
};

} // namespace service
