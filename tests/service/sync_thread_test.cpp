// When a pair's thread looks at its sides, by a clock that ticks; and the service around such threads.
#include "platform/json.h"
#include "protocol/names.h"
#include "service/Service.h"
#include "tests/service/FolderTrash.h"
#include "tests/service/TrickySpace.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/fakes.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>

namespace service {
namespace {

using namespace std::chrono_literals;

class APairsThread : public testing::Test {
  protected:
    void begin(const std::string& localRoot) {
        SyncThread::Settings settings;
        settings.localRoot = localRoot;
        settings.remoteRoot = "/Pair";
        settings.database = place / "state.db";
        settings.excluded = [] { return std::set<std::string, std::less<>>(); };
        began.emplace(std::move(settings), SyncThread::Surroundings{space, trash, nullptr, log, [] {},
                                                                    [](const std::stop_token&) {}, clock});
    }
    const support::TemporaryFolder place;
    FolderTrash trash{place / "trash"};
    TrickySpace space;
    support::RecordingLog log;
    support::TestClock clock;
    std::optional<SyncThread> began;
};

TEST_F(APairsThread, LooksSoonerWhenSomebodyBeginsToLook) {
    std::filesystem::create_directories(place / "pair");
    begin(place.path("pair"));
    EXPECT_TRUE(clock.tickWhenAwaited(60s));
    EXPECT_TRUE(clock.tickWhenAwaited(120s));
    EXPECT_TRUE(clock.isAwaited(240s));
    clock.tick(40s);
    began->observed(); // the last look is 40 seconds old
    EXPECT_TRUE(clock.tickWhenAwaited(20s));
    EXPECT_TRUE(clock.tickWhenAwaited(60s));
    EXPECT_TRUE(clock.isAwaited(120s));
    clock.tick(100s);
    began->observed(); // older than a minute: at once
    EXPECT_TRUE(clock.isAwaited(60s));
    began->end();
}

TEST_F(APairsThread, BelievesNoCrashOfTheMachineAndDoesAtOnceWhatIsConfirmed) {
    const auto comes = [this](const std::function<bool(const PairState&)>& condition) {
        return support::eventually([&] {
            clock.tick(1s);
            return condition(*began->state());
        });
    };
    const auto isInStep = [](const PairState& state) { return state.phase == PairState::Phase::inStep; };
    const auto file = [this](int number) { return place / ("pair/" + std::to_string(number)); };
    std::filesystem::create_directories(place / "pair");
    for (int i = 0; i < 30; ++i)
        std::ofstream(file(i)) << "content";
    begin(place.path("pair"));
    EXPECT_TRUE(comes(isInStep));
    began->end();
    began.reset();
    PairStore(place / "state.db").setFact("boot", "another");
    const std::ofstream emptied(file(0));
    clock.tick(std::chrono::hours(24 * 365 * 60)); // the machine has begun since
    begin(place.path("pair"));
    EXPECT_TRUE(comes(isInStep));
    EXPECT_EQ(support::contentOf(file(0)), "content");
    for (int i = 0; i < 30; ++i)
        std::filesystem::remove(file(i));
    began->ask();
    EXPECT_TRUE(comes([](const PairState& state) { return state.waiting != nullptr; }));
    EXPECT_FALSE(began->confirm("another list"));
    EXPECT_TRUE(began->confirm(began->state()->waiting->list));
    EXPECT_TRUE(support::eventually([&] { return !began->state()->waiting; }));
    began->end();
    EXPECT_FALSE(space.items.contains("Pair/0"));

    // Its folder in the space is made once: a missing one is trouble, not an empty one.
    space.items.clear();
    begin(place.path("pair"));
    EXPECT_TRUE(comes([](const PairState& state) { return state.phase == PairState::Phase::failed; }));
    began->end();
    EXPECT_FALSE(space.items.contains("Pair"));
}

TEST_F(APairsThread, LooksAgainAfterLongerAndLongerWaitsUntilSomebodyAsks) {
    std::atomic<int> rounds = 0;
    space.before = [&rounds](const auto&, const auto&) {
        ++rounds; // each asks once, and gets no answer
        return std::optional(Failure{Trouble::unreachable, "no network"});
    };
    begin("/nowhere/pair");
    const auto waits = [&](int wanted, std::chrono::milliseconds wait) {
        EXPECT_TRUE(support::eventually([&] { return rounds == wanted; }));
        EXPECT_TRUE(clock.tickWhenAwaited(wait)) << wanted;
    };
    waits(1, 2s);
    waits(2, 4s);
    waits(3, 8s);
    EXPECT_TRUE(clock.isAwaited(16s));
    began->ask();
    waits(5, 2s);
    waits(6, 4s);
    EXPECT_TRUE(clock.isAwaited(8s));
    began->noticed({"/nowhere/pair", "file"}); // soon, but not at once
    waits(7, 500ms);
    EXPECT_TRUE(support::eventually([&] { return rounds == 8; }));
    EXPECT_EQ(log.count("/nowhere/pair: no network"), 1U);
    began->end();
}

TEST_F(APairsThread, IsPausedThoughALookEndsJustThen) {
    space.before = [](const auto&, const auto&) {
        return std::optional(Failure{Trouble::unreachable, "no network"});
    };
    std::atomic<SyncThread*> thread = nullptr; // whoever writes waits for it
    std::atomic<bool> isWritten = false;
    // The first line is written as a look ends, before what it came to is published.
    log.setWhenWritten([&](std::string_view) {
        thread.wait(nullptr);
        if (!isWritten.exchange(true)) thread.load()->setPaused(true);
    });
    begin("/nowhere/pair");
    thread = &*began;
    thread.notify_all();
    EXPECT_TRUE(support::eventually([&] { return isWritten.load(); }));
    began->end(); // the look has ended, too
    EXPECT_EQ(began->state()->phase, PairState::Phase::paused);
}

// What is watched; nothing comes of it.
class WatchedTrees final : public platform::DirectoryEvents {
  public:
    std::function<void(const std::string& directory)> forgets;
    void start(Handler) override {}
    void stop() override {}
    bool watchTree(const std::string& directory) override {
        const std::lock_guard guard(lock);
        trees.insert(directory);
        return true;
    }
    void forgetTree(const std::string& directory) override {
        if (forgets) forgets(directory);
        const std::lock_guard guard(lock);
        trees.erase(directory);
    }
    bool has(const std::string& directory) {
        const std::lock_guard guard(lock);
        return trees.contains(directory);
    }

  private:
    std::mutex lock;
    std::set<std::string> trees;
};

TEST(AService, TellsWhatItDoesAndKeepsNothingLongerThanItIsToldTo) {
    using std::chrono::days;
    const support::TemporaryFolder place;
    FolderTrash trash(place / "trash");
    TrickySpace space;
    support::RecordingLog log;
    support::TestClock clock;
    support::LocalDistributedCenter center;
    WatchedTrees watched;
    std::mutex lock;
    std::string told;
    const auto observer = center.addObserver(TSYNC_NOTE_SYNC_REFRESH, [&](const auto& notification) {
        const std::lock_guard guard(lock);
        told = platform::jsonDescription(notification.userInfo);
    });
    const auto isTold = [&](const char* word) {
        return support::eventually([&] {
            clock.tick(1h);
            const std::lock_guard guard(lock);
            return told.find(word) != std::string::npos;
        });
    };
    for (const char* file : {"pair/up", "pair/.tsyncquenz/kept/0-1-a", "another/file"}) {
        std::filesystem::create_directories((place / file).parent_path());
        std::ofstream(place / file) << file;
    }
    clock.tick(
        std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now() - clock.date()));
    space.links = "https://storage.example/";
    (void)space.bringUp(place.path("pair/up"), "Docs/a").wait();
    (void)space.bringUp(place.path("pair/up"), trash::newPlace("Docs/old", {})).wait();
    std::optional<Service> service;
    const auto begin = [&] {
        service.emplace(Service::Settings{place / "state", "host", {}, {days(1), days(7)}},
                        Service::Surroundings{space, trash, &watched, center, log, nullptr, nullptr, clock});
    };
    const auto countDatabases = [&place] {
        const std::filesystem::directory_iterator all(place / "state/pairs");
        return std::count_if(std::filesystem::begin(all), std::filesystem::end(all),
                             [](const auto& file) { return file.path().extension() == ".db"; });
    };
    std::atomic<bool> isUploadTold = false;
    space.before = [&](const auto& operation, const auto&) -> std::optional<Failure> {
        if (operation == "bringUp" &&
            platform::jsonDescription(service->syncStatus()).find("/pair/up") != std::string::npos)
            isUploadTold = true;
        return std::nullopt;
    };
    begin();
    service->start();
    EXPECT_TRUE(isTold("statusInfo"));
    ASSERT_TRUE(service->startSync(place.path("pair"), "/Pair"));
    ASSERT_TRUE(service->startSync(place.path("another"), "/Pictures"));
    EXPECT_TRUE(isTold("syncStatusCompleted"));
    EXPECT_TRUE(isUploadTold);
    EXPECT_FALSE(service->confirm("/Pair", "another list"));
    std::filesystem::create_directories(place / "bad\xff");
    EXPECT_FALSE(service->startSync(place.path("bad\xff"), "/Bad"));
    EXPECT_EQ(service->directories("/"), (std::vector<std::string>{"/Docs", "/Pair", "/Pictures"}));
    EXPECT_TRUE(support::eventually([&] {
        clock.tick(1h);
        return log.count("Removed from the space's trash, being old: 1") == 1 &&
               !std::filesystem::exists(place / "pair/.tsyncquenz/kept/0-1-a");
    }));

    // A pair that lies in the other's place in the space alone is none of its items.
    std::filesystem::create_directories(place / "inner");
    std::ofstream(place / "inner/own") << "own";
    ASSERT_TRUE(service->startSync(place.path("inner"), "/Pair/inner"));
    EXPECT_TRUE(isTold("syncStatusCompleted"));
    EXPECT_TRUE(space.items.contains("Pair/inner/own"));
    EXPECT_TRUE(service->localSnapshotChanged(place.path("pair"), true));
    EXPECT_TRUE(isTold("syncStatusCompleted"));
    EXPECT_FALSE(std::filesystem::exists(place / "pair/inner"));
    EXPECT_TRUE(service->stopSync("/Pair/inner"));

    // A request and a message at once: the one that comes last holds for all.
    std::future<void> goesOn;
    log.setWhenWritten([&](std::string_view line) {
        if (line != "Paused") return;
        goesOn = std::async(std::launch::async, [&] { service->setPaused(false); });
        EXPECT_EQ(goesOn.wait_for(50ms), std::future_status::timeout);
    });
    service->setPaused(true);
    goesOn.get();
    log.setWhenWritten(nullptr);
    EXPECT_EQ(platform::jsonDescription(service->details()).find("\"paused\""), std::string::npos);

    service->setPaused(true);
    EXPECT_EQ(log.count("Paused"), 2U);
    EXPECT_TRUE(service->isPendingLocally(place.path("pair/up")));
    EXPECT_FALSE(service->isPendingLocally(place.path("elsewhere")));
    EXPECT_TRUE(service->exclusionOfLocal(place.path("pair/Caches")).isExcluded);
    EXPECT_FALSE(service->exclusionOfLocal(place.path("pair/up")).isExcluded);
    EXPECT_TRUE(service->setEventsPaused(place.path("pair"), true));
    EXPECT_TRUE(service->setCacheEventsPaused(true) && service->setUploadingEventsPaused(true));
    EXPECT_TRUE(service->renameFile("/Docs/a", "/Docs/b"));
    EXPECT_FALSE(service->renameFile("/Docs/b", "/Pair"));
    EXPECT_EQ(service->linkForSharing("/Docs/b", false), "https://storage.example/Docs/b");
    EXPECT_EQ(service->linkForSharing("/Docs/a", false), std::nullopt);
    EXPECT_TRUE(service->cacheFile("/Docs/b"));
    EXPECT_FALSE(service->cacheFile("/") || service->downloadFile("/", place.path()));
    const auto takeTold = [&] {
        const std::lock_guard guard(lock);
        return std::exchange(told, {});
    };
    (void)takeTold();
    EXPECT_TRUE(service->excludePath("/Pair/x") && service->excludePath("/Pair/y"));
    EXPECT_NE(takeTold(), "") << "badges are another";
    EXPECT_TRUE(watched.has(place.path("pair")));
    EXPECT_EQ(countDatabases(), 2);
    EXPECT_TRUE(service->stopSync("/Pair"));
    EXPECT_EQ(countDatabases(), 1);
    EXPECT_FALSE(watched.has(place.path("pair")));
    EXPECT_TRUE(service->includePath("/Pair/x"));
    begin();
    service->start();
    const platform::Dictionary details = service->details();
    ASSERT_EQ(platform::arrayAt(details, "pairs")->size(), 1U);
    EXPECT_EQ(*platform::textAt(*platform::arrayAt(details, "pairs")->front().dictionary(), "state"),
              "paused");
    EXPECT_TRUE(service->exclusionOfRemote("/Pair/y").isExcluded);
    EXPECT_FALSE(service->exclusionOfRemote("/Pair/x").isExcluded);

    // The start comes in the middle of a request for which the bus has started the service: the pair's thread
    // is made once. Replaced, it would be waited for while it waits for what the request holds. Another
    // request has to wait: a pair that goes in the middle of its coming would leave its thread behind.
    std::vector<std::string> ended;
    std::future<bool> stopped;
    watched.forgets = [&](const std::string& directory) {
        ended.push_back(directory);
        if (ended.size() > 1) return;
        service->start();
        stopped = std::async(std::launch::async, [&] { return service->stopSync("/Pictures"); });
        EXPECT_EQ(stopped.wait_for(50ms), std::future_status::timeout);
    };
    EXPECT_TRUE(service->startSync(place.path("pair"), "/Pictures"));
    EXPECT_TRUE(stopped.get());
    watched.forgets = nullptr;
    EXPECT_EQ(ended, (std::vector{place.path("another"), place.path("pair")}));
    EXPECT_TRUE(platform::arrayAt(service->details(), "pairs")->empty());
}

} // namespace
} // namespace service
