// A space as one pair uses it: tells which file is on its way, and hands everything on.
//
// A pair does one thing after the other, so a file is on its way until the pair asks the space for the next
// thing. Told on the thread that asks.
#pragma once

#include "service/RemoteSpace.h"

#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace service {

struct Transfer {
    bool isUp = true;
    std::string localPath;  // of what goes up
    std::string remotePath; // of what comes down, in the space
    friend bool operator==(const Transfer&, const Transfer&) = default;
};

class WatchedSpace : public RemoteSpace {
  public:
    using Told = std::function<void(const std::optional<Transfer>&)>;
    // The space outlives this object.
    WatchedSpace(RemoteSpace& realSpace, Told tell) : space(realSpace), told(std::move(tell)) {}

    Pending<Features> features() override { return quietly().features(); }
    Pending<std::vector<RemoteItem>> list(const std::string& folder, bool withDigests) override {
        return quietly().list(folder, withDigests);
    }
    Pending<std::optional<RemoteItem>> look(const std::string& path, bool withDigests) override {
        return quietly().look(path, withDigests);
    }
    Pending<Done> bringUp(const std::string& file, const std::string& path) override {
        told(Transfer{true, file, {}});
        return space.bringUp(file, path);
    }
    Pending<Done> bringUpAll(const std::vector<Upload>& files, const std::string& folder) override {
        if (!files.empty()) told(Transfer{true, files.front().file, {}});
        return space.bringUpAll(files, folder);
    }
    Pending<Done> bringDown(const std::string& path, const std::string& file, std::uint64_t size) override {
        told(Transfer{false, {}, path});
        return space.bringDown(path, file, size);
    }
    Pending<Done> bringDownAll(const std::string& folder, const std::vector<std::string>& names,
                               const std::string& place) override {
        if (!names.empty()) told(Transfer{false, {}, folder + "/" + names.front()});
        return space.bringDownAll(folder, names, place);
    }
    Pending<Done> moveFile(const std::string& path, const std::string& to) override {
        return quietly().moveFile(path, to);
    }
    Pending<Done> moveFolder(const std::string& path, const std::string& to) override {
        return quietly().moveFolder(path, to);
    }
    Pending<Done> makeFolder(const std::string& path) override { return quietly().makeFolder(path); }
    Pending<Done> removeFile(const std::string& path) override { return quietly().removeFile(path); }
    Pending<Done> removeFolder(const std::string& path) override { return quietly().removeFolder(path); }
    Pending<Done> removeTree(const std::string& path) override { return quietly().removeTree(path); }
    Pending<std::string> publicLink(const std::string& path) override { return quietly().publicLink(path); }
    Pending<Quota> quota() override { return quietly().quota(); }

  private:
    RemoteSpace& quietly() {
        told(std::nullopt);
        return space;
    }

    RemoteSpace& space;
    const Told told;
};

} // namespace service
