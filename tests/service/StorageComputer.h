// A machine of a person with a pair on a real storage, which answers wrongly on demand.
#pragma once

#include "backends/rclone/RcloneSpace.h"
#include "service/PairSync.h"
#include "service/WatchedSpace.h"
#include "tests/service/FolderTrash.h"
#include "tests/support/StorageServers.h"
#include "tests/support/fakes.h"

#include <gtest/gtest.h>

#include <set>

extern char** environ;

namespace service {

namespace fs = std::filesystem;

inline support::StorageServers& servers() {
    static support::StorageServers all;
    return all;
}

inline backends::rclone::RemoteControl::Settings controlSettings() {
    backends::rclone::RemoteControl::Settings settings;
    for (char** entry = environ; *entry; ++entry)
        settings.environment.emplace_back(*entry);
    settings.environment.push_back("RCLONE_CONFIG=" + servers().configuration());
    return settings;
}

inline void write(const fs::path& file, const std::string& content) {
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
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

// A machine of a person: its folder, what it remembers, its trash.
class StorageComputer {
  public:
    StorageComputer(const fs::path& place, const std::string& storage, const std::string& name)
        : home(place / name), control(controlSettings(), log), real(control, storage, home / "links"),
          space(real), trash(home / "trash"), host(name) {
        fs::create_directories(home / "pair");
        EXPECT_TRUE(space.makeFolder("pair").wait());
        restart();
    }
    void restart() {
        sync.reset();
        store.reset();
        local.emplace(home / "pair");
        store.emplace(home / "state.db");
        PairSync::Settings settings;
        settings.remoteFolder = "pair";
        settings.host = host;
        settings.bootId = boot;
        settings.booted = std::chrono::sys_seconds(std::chrono::seconds(4102444800)); // all files are older
        sync.emplace(PairSync::Surroundings{
                         space, *local, *store, trash, log, [this] { return now; },
                         [] { return std::chrono::sys_seconds(std::chrono::seconds(1795615200)); },
                         [this] {
                             return std::chrono::sys_seconds(std::chrono::seconds(1795615200)) +
                                    std::chrono::floor<std::chrono::seconds>(now.time_since_epoch());
                         }},
                     settings);
    }
    void crashTheMachine() {
        sync.reset();
        store->setFact("boot", boot); // nobody was there to say that it ended
        boot += "+";
        restart();
    }
    fs::path operator/(const std::string& path) const { return home / "pair" / path; }

    // Until nothing is left to do; what was said to be left out.
    std::vector<std::string> settle() {
        for (int round = 0; round < 40; ++round) {
            now += step; // everything has rested
            const auto result = sync->round({});
            if (!result) return {"failed: " + result.failure().text};
            waiting = result->waiting;
            if (!result->isInStep()) continue;
            if (waiting && confirmsAll && confirm(waiting->list)) continue;
            std::vector<std::string> problems;
            for (const auto& problem : result->problems)
                problems.push_back(problem.path + ": " + problem.reason);
            return problems;
        }
        std::vector<std::string> lines = log.take();
        if (lines.size() > 12) lines.erase(lines.begin(), lines.end() - 12);
        lines.emplace_back("does not end");
        return lines;
    }
    // A round for these alone, so much later: "" when a whole one is needed, else what came of it.
    std::string hurry(const std::set<std::string>& paths, std::chrono::milliseconds later) {
        now += later;
        const auto result = sync->roundOf(paths, {});
        if (!result) return result.failure().text;
        if (!*result) return "";
        return std::to_string((*result)->done) + " done" + ((*result)->restless ? ", restless" : "");
    }
    std::map<std::string, std::string> files() const { return contentsOf(home / "pair"); }
    static std::map<std::string, std::string> contentsOf(const fs::path& folder) {
        std::map<std::string, std::string> found;
        for (auto item = fs::recursive_directory_iterator(folder); item != fs::recursive_directory_iterator();
             ++item) {
            const std::string path = item->path().lexically_relative(folder).string();
            if (path.starts_with(".tsyncquenz")) {
                item.disable_recursion_pending();
                continue;
            }
            found[path] = item->is_directory() ? "/" : support::contentOf(item->path());
        }
        return found;
    }

    // The files that wait for a word; "confirm" says it.
    std::size_t waitingFiles() {
        EXPECT_EQ(settle(), std::vector<std::string>{});
        return waiting ? waiting->files.size() : 0;
    }
    bool roundIsRestless() {
        const auto result = sync->round({});
        return result && result->restless;
    }
    bool confirm(const std::string& list) { return sync->confirm(list); }

    const fs::path home;
    support::RecordingLog log;
    std::shared_ptr<const WaitingLosses> waiting; // after the last round
    bool confirmsAll = true;
    std::chrono::steady_clock::time_point now{};
    std::chrono::minutes step{15}; // between two rounds

  private:
    backends::rclone::RemoteControl control;
    backends::rclone::RcloneSpace real;

  public:
    FaultySpace space;

  private:
    FolderTrash trash;
    std::string host;
    std::string boot = "first";
    std::optional<LocalSide> local;
    std::optional<PairStore> store;
    std::optional<PairSync> sync;
};

} // namespace service
