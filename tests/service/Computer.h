// A machine of a person with one pair: its folder, what it remembers, its trash. A round comes so long after
// the one before that everything has rested.
#pragma once

#include "service/PairSync.h"
#include "tests/service/FolderTrash.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/fakes.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

namespace service {

namespace fs = std::filesystem;
using Files = std::map<std::string, std::string>; // contents by path; "/" for a folder

inline void write(const fs::path& file, const std::string& content) {
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
}

// Without what is private.
inline Files treeOf(const fs::path& folder) {
    Files found;
    for (auto item = fs::recursive_directory_iterator(folder); item != fs::recursive_directory_iterator();
         ++item) {
        const std::string path = item->path().lexically_relative(folder).string();
        if (path.starts_with(".tsyncquenz"))
            item.disable_recursion_pending();
        else
            found[path] = item->is_directory() ? "/" : support::contentOf(item->path());
    }
    return found;
}
inline Files filesOf(const fs::path& folder) {
    Files found = treeOf(folder);
    std::erase_if(found, [](const auto& item) { return item.second == "/"; });
    return found;
}

class Computer {
  public:
    Computer(const fs::path& place, RemoteSpace& space, const std::string& name)
        : home(place / name), remote(space), trash(home / "trash") {
        beginAnew();
    }
    void beginAnew() {
        fs::remove_all(home);
        for (const char* folder : {"pair", "trash"})
            fs::create_directories(home / folder);
        EXPECT_TRUE(remote.makeFolder("pair").wait());
        restart();
    }
    void restart() {
        sync.reset();
        local.emplace(home / "pair");
        store.emplace(home / "state.db");
        PairSync::Settings settings;
        settings.remoteFolder = "pair";
        settings.host = home.filename();
        settings.isLeftOut =
            settings.goesAlong = [](const std::string& path) { return path.ends_with(".DS_Store"); };
        settings.bootId = boot;
        settings.booted = std::chrono::sys_seconds(std::chrono::seconds(4102444800)); // all files are older
        sync.emplace(
            PairSync::Surroundings{remote, *local, *store, trash, log, [this] { return now; },
                                   [] { return std::chrono::sys_seconds(std::chrono::seconds(1795615200)); },
                                   [this] {
                                       return std::chrono::floor<std::chrono::seconds>(
                                           std::chrono::system_clock::now() + now.time_since_epoch());
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

    // Until nothing is left to do; what the last round left out, or why it does not end.
    std::string settle() {
        std::string problems;
        for (int round = 0; round < 40; ++round) {
            now += step;
            const auto result = sync->round({});
            if (!result) return "failed: " + result.failure().text;
            problems.clear();
            for (const auto& problem : result->problems)
                if (tellsUnrest || !problem.reason.starts_with("it keeps changing"))
                    problems += problem.path + " " + wordOf(problem) + "; ";
            waiting = result->waiting;
            if (result->isInStep() && !(waiting && confirmsAll && confirm(waiting->list))) return problems;
        }
        for (const std::string& line : log.take())
            problems += "\n" + line;
        return "does not end: " + problems;
    }
    // A round for these alone, so much later: "" when a whole one is needed, else what came of it.
    std::string hurry(const std::set<std::string>& paths, std::chrono::milliseconds later) {
        now += later;
        const auto result = sync->roundOf(paths, {});
        if (!result) return result.failure().text;
        if (!*result) return "";
        return std::to_string((*result)->done) + " done" + ((*result)->restless ? ", restless" : "");
    }
    bool roundIsRestless() {
        const auto result = sync->round({});
        return result && result->restless;
    }
    bool roundIsInStep() {
        const auto result = sync->round({});
        return result && result->isInStep();
    }
    // The files that wait for a word; "confirm" says it.
    std::size_t waitingFiles() {
        EXPECT_EQ(settle(), "");
        return waiting ? waiting->files.size() : 0;
    }
    bool confirm(const std::string& list) { return sync->confirm(list); }
    Files tree() const { return treeOf(home / "pair"); }
    Files files() const { return filesOf(home / "pair"); }
    // Also what was thrown away and what was kept.
    bool has(const std::string& content) const {
        const fs::recursive_directory_iterator all(home);
        return std::any_of(begin(all), end(all), [&content](const fs::directory_entry& entry) {
            return entry.is_regular_file() && support::contentOf(entry.path()) == content;
        });
    }

    const fs::path home;
    support::RecordingLog log;
    std::shared_ptr<const WaitingLosses> waiting; // after the last round
    bool confirmsAll = true;
    bool tellsUnrest = false; // a storage that tells times by the second makes some
    std::chrono::steady_clock::time_point now{};
    std::chrono::seconds step = std::chrono::minutes(15); // between two rounds

  private:
    static std::string wordOf(const PairSync::Problem& problem) {
        if (problem.trouble != Trouble::full && problem.trouble != Trouble::fullHere) return "";
        return problem.reason.starts_with("this machine") ? "has no room here" : "has no room there";
    }

    RemoteSpace& remote;
    FolderTrash trash;
    std::string boot = "first";
    std::optional<LocalSide> local;
    std::optional<PairStore> store;
    std::optional<PairSync> sync;
};

} // namespace service
