// When a pair's thread looks at its sides, by a clock that ticks.
#include "service/SyncThread.h"
#include "tests/service/FolderTrash.h"
#include "tests/service/TrickySpace.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/fakes.h"

#include <gtest/gtest.h>

namespace service {
namespace {

using namespace std::chrono_literals;

TEST(SyncThread, LooksSoonerWhenSomebodyBeginsToLook) {
    const support::TemporaryFolder place;
    FolderTrash trash(place / "trash");
    TrickySpace space;
    support::RecordingLog log;
    support::TestClock clock;
    SyncThread::Settings settings;
    settings.localRoot = place.path("pair");
    settings.remoteRoot = "/Pair";
    settings.database = place / "state.db";
    settings.excluded = [] { return std::set<std::string, std::less<>>(); };
    std::filesystem::create_directories(settings.localRoot);
    SyncThread thread(std::move(settings),
                      {space, trash, nullptr, log, [] {}, [](const std::stop_token&) {}, clock});
    EXPECT_TRUE(clock.tickWhenAwaited(60s));
    EXPECT_TRUE(clock.tickWhenAwaited(120s));
    EXPECT_TRUE(clock.isAwaited(240s));
    clock.tick(40s);
    thread.observed(); // the last look is 40 seconds old
    EXPECT_TRUE(clock.tickWhenAwaited(20s));
    EXPECT_TRUE(clock.tickWhenAwaited(60s));
    EXPECT_TRUE(clock.isAwaited(120s));
    clock.tick(100s);
    thread.observed(); // older than a minute: at once
    EXPECT_TRUE(clock.isAwaited(60s));
    thread.end();
}

TEST(SyncThread, LooksAgainAfterLongerAndLongerWaitsUntilSomebodyAsks) {
    const support::TemporaryFolder place;
    FolderTrash trash(place / "trash");
    TrickySpace space;
    std::atomic<int> rounds = 0;
    space.before = [&rounds](const auto&, const auto&) {
        ++rounds; // each asks once, and gets no answer
        return std::optional(Failure{Trouble::unreachable, "no network"});
    };
    support::RecordingLog log;
    support::TestClock clock;
    SyncThread::Settings settings;
    settings.localRoot = "/nowhere/pair";
    settings.remoteRoot = "/Pair";
    settings.excluded = [] { return std::set<std::string, std::less<>>(); };
    SyncThread thread(std::move(settings),
                      {space, trash, nullptr, log, [] {}, [](const std::stop_token&) {}, clock});
    const auto waits = [&](int wanted, std::chrono::milliseconds wait) {
        EXPECT_TRUE(support::eventually([&] { return rounds == wanted; }));
        EXPECT_TRUE(clock.tickWhenAwaited(wait)) << wanted;
    };
    waits(1, 2s);
    waits(2, 4s);
    waits(3, 8s);
    EXPECT_TRUE(clock.isAwaited(16s));
    thread.ask();
    waits(5, 2s);
    waits(6, 4s);
    EXPECT_TRUE(clock.isAwaited(8s));
    thread.noticed({"/nowhere/pair", "file"}); // soon, but not at once
    waits(7, 500ms);
    EXPECT_TRUE(support::eventually([&] { return rounds == 8; }));
    EXPECT_EQ(log.count("/nowhere/pair: no network"), 1U);
    thread.end();
}

} // namespace
} // namespace service
