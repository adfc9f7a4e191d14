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

} // namespace
} // namespace service
