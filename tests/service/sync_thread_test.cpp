// When a pair's thread looks at its sides, by a clock that ticks.
#include "service/SyncThread.h"
#include "tests/support/fakes.h"

#include <gtest/gtest.h>

namespace service {
namespace {

using namespace std::chrono_literals;

// A storage that never answers anything but that it cannot be reached; each round asks it once.
class Unreachable final : public RemoteSpace {
  public:
    Pending<Features> features() override {
        ++rounds;
        return refused<Features>();
    }
    Pending<std::vector<RemoteItem>> list(const std::string&, bool) override {
        return refused<std::vector<RemoteItem>>();
    }
    Pending<std::optional<RemoteItem>> look(const std::string&, bool) override {
        return refused<std::optional<RemoteItem>>();
    }
    Pending<Done> bringUp(const std::string&, const std::string&) override { return refused<Done>(); }
    Pending<Done> bringUpAll(const std::vector<Upload>&, const std::string&) override {
        return refused<Done>();
    }
    Pending<Done> bringDown(const std::string&, const std::string&, std::uint64_t) override {
        return refused<Done>();
    }
    Pending<Done> bringDownAll(const std::string&, const std::vector<std::string>&,
                               const std::string&) override {
        return refused<Done>();
    }
    Pending<Done> moveFile(const std::string&, const std::string&) override { return refused<Done>(); }
    Pending<Done> moveFolder(const std::string&, const std::string&) override { return refused<Done>(); }
    Pending<Done> makeFolder(const std::string&) override { return refused<Done>(); }
    Pending<Done> removeFile(const std::string&) override { return refused<Done>(); }
    Pending<Done> removeFolder(const std::string&) override { return refused<Done>(); }
    Pending<Done> removeTree(const std::string&) override { return refused<Done>(); }
    Pending<std::string> publicLink(const std::string&) override { return refused<std::string>(); }
    Pending<Quota> quota() override { return refused<Quota>(); }

    std::atomic<int> rounds = 0;

  private:
    template <typename T>
    static Pending<T> refused() {
        return Pending<T>(Outcome<T>(Failure{Trouble::unreachable, "no network"}));
    }
};

class NoTrash final : public DesktopTrash {
  public:
    Outcome<Done> trash(const std::filesystem::path&) override { return Done{}; }
};

TEST(SyncThread, LooksAgainAfterLongerAndLongerWaitsUntilSomebodyAsks) {
    Unreachable space;
    NoTrash trash;
    support::RecordingLog log;
    support::TestClock clock;
    SyncThread::Settings settings;
    settings.localRoot = "/nowhere/pair";
    settings.remoteRoot = "/Pair";
    settings.excluded = [] { return std::set<std::string, std::less<>>(); };
    SyncThread thread(std::move(settings),
                      {space, trash, nullptr, log, [] {}, [](const std::stop_token&) {}, clock});
    const auto waits = [&](int rounds, std::chrono::milliseconds wait) {
        EXPECT_TRUE(support::eventually([&] { return space.rounds == rounds; }));
        EXPECT_TRUE(clock.tickWhenAwaited(wait)) << rounds;
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
    EXPECT_TRUE(support::eventually([&] { return space.rounds == 8; }));
    EXPECT_EQ(log.count("/nowhere/pair: no network"), 1U);
    thread.end();
}

} // namespace
} // namespace service
