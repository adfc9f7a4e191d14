// One badge decision, and a refresh with many files in flight.
//
// Sizes: 1,000 roots and 10,000 files in flight are more than a person syncs at once; eight levels is a
// deep project tree. The decision is compared with the rules taken literally (every root, then every file
// in turn) at the same sizes, and with itself at one root and one file: its cost must not depend on them.
#include "extension/BadgeState.h"
#include "extension/FinderSync.h"
#include "paths/path_strings.h"
#include "tests/extension/ExtensionParts.h"

#include <benchmark/benchmark.h>

namespace {

using platform::Dictionary;
using platform::FileURL;

std::vector<std::string> filesBelow(const std::string& root, std::size_t count) {
    std::vector<std::string> files;
    for (std::size_t i = 0; i < count; ++i)
        files.push_back(root + "/area" + std::to_string(i % 10) + "/project" + std::to_string(i % 100) +
                        "/module/source/part" + std::to_string(i % 1000) + "/file" + std::to_string(i) +
                        ".txt");
    std::sort(files.begin(), files.end());
    return files;
}

std::string rootPath(std::size_t number) { return "/home/user/Synced" + std::to_string(number); }

std::shared_ptr<const extension::BadgeState> stateWith(std::size_t roots, std::size_t files) {
    extension::WatchedPaths watched;
    for (std::size_t i = 0; i < roots; ++i)
        watched.insert(FileURL::withPath(rootPath(i)).value());
    return extension::BadgeState().withRoots(watched)->withFiles(
        std::make_shared<const std::vector<std::string>>(filesBelow(rootPath(0), files)),
        std::make_shared<const std::vector<std::string>>());
}

void decision(benchmark::State& run) {
    const auto state =
        stateWith(static_cast<std::size_t>(run.range(0)), static_cast<std::size_t>(run.range(1)));
    const auto item =
        FileURL::withPath(rootPath(0) + "/area3/project17/module/source/part17/other.txt").value();
    for (auto _ : run)
        benchmark::DoNotOptimize(state->rule(item));
}
BENCHMARK(decision)->Args({1, 1})->Args({1000, 10'000});

void literalDecision(benchmark::State& run) {
    const auto state =
        stateWith(static_cast<std::size_t>(run.range(0)), static_cast<std::size_t>(run.range(1)));
    const std::string path = rootPath(0) + "/area3/project17/module/source/part17/other.txt";
    for (auto _ : run) {
        for (const FileURL& root : state->watchedPaths())
            if (paths::isChildOfPath(path, root.path())) break;
        for (const std::string& file : *state->uploadingFiles())
            benchmark::DoNotOptimize(paths::isChildOfPath(file, path));
    }
}
BENCHMARK(literalDecision)->Args({1000, 10'000});

class CountingController final : public platform::FIFinderSyncController {
  public:
    std::size_t calls = 0;
    void setDirectoryURLs(std::optional<std::set<FileURL>>) override {}
    void setBadgeImage(const platform::ImageHandle&, std::string_view, std::string_view) override {}
    void setBadgeIdentifier(std::string_view, const FileURL&) override { ++calls; }
};

// The extension with nothing around it that takes time.
struct Extension : support::ExtensionParts {
    explicit Extension(const Dictionary& allPathsInSync = {}) {
        log.lowest = platform::LogLevel::error;
        connections.reply = {platform::Reply::Kind::value, allPathsInSync, {}};
        finderSync.emplace(forFinderSync(controller));
    }
    CountingController controller;
    std::optional<extension::FinderSync> finderSync;
};

// From the decoded notification to the last controller call.
void refreshApplied(benchmark::State& run) {
    Extension extension;

    const auto notificationFor = [](const std::string& name, std::size_t count) {
        return platform::Notification{
            TSYNC_NOTE_SYNC_REFRESH,
            std::nullopt,
            {{"allPathsInSync", Dictionary{{"/R", "/home/user"}}},
             {"statusInfo", support::ExtensionParts::transfer(filesBelow("/home/user/" + name, count))}}};
    };
    const auto count = static_cast<std::size_t>(run.range(0));
    const platform::Notification one = notificationFor("one", count);
    const platform::Notification other = notificationFor("two", count);
    bool isOne = true;
    for (auto _ : run) {
        extension.center.post(isOne ? one : other);
        extension.center.posted.clear();
        isOne = !isOne;
    }
    run.counters["calls"] =
        static_cast<double>(extension.controller.calls) / static_cast<double>(run.iterations());
}
BENCHMARK(refreshApplied)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

// What a menu asks of each selected item, and the client of each path: its cost must not depend on the roots.
void pathInSync(benchmark::State& run) {
    daemon_client::SyncPathTable table;
    for (std::size_t i = 0; i < static_cast<std::size_t>(run.range(0)); ++i)
        table.emplace("/R" + std::to_string(i), rootPath(i));
    const Dictionary paths(table.begin(), table.end());
    Extension extension(paths);
    extension.refresh(paths);
    const std::string path = rootPath(0) + "/area3/project17/module/source/part17/other.txt";
    bool isBase = false;
    const auto isInSync = [&] {
        return run.range(1) != 0 ? extension.client->isPathInSync(path, isBase)
                                 : extension.finderSync->isPathInSync(path, isBase);
    };
    if (!isInSync()) run.SkipWithError("the path is not in sync");
    for (auto _ : run)
        benchmark::DoNotOptimize(isInSync());
}
BENCHMARK(pathInSync)->ArgNames({"roots", "client"})->ArgsProduct({{1, 10'000}, {0, 1}});

} // namespace

BENCHMARK_MAIN();
