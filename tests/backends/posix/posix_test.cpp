// Queues, and a disk that hangs.
#include "backends/posix/ChildProcess.h"
#include "backends/posix/ConcurrentQueue.h"
#include "backends/posix/FileWatch.h"
#include "backends/posix/GuardedFileSystem.h"
#include "backends/posix/InotifyEvents.h"
#include "backends/posix/MountTable.h"
#include "backends/posix/SerialQueue.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/fakes.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <future>

namespace {

namespace fs = std::filesystem;
using platform::Existence;

TEST(SerialQueue, RunsWorkInOrderAndDropsWhatWaitsForItsTime) {
    std::vector<int> ran;
    support::TestClock clock;
    {
        backends::posix::SerialQueue queue("test", clock);
        queue.dispatchAfter(std::chrono::hours(1), [&] { ran.push_back(99); });
        for (int i = 0; i < 3; ++i)
            queue.dispatch([&ran, i] { ran.push_back(i); });
        queue.dispatchAndWait([&] {
            ran.push_back(3);
            queue.dispatchAndWait([&] { ran.push_back(4); }); // on the queue itself: at once
        });
        std::promise<void> later;
        queue.dispatchAfter(std::chrono::minutes(59), [&] { later.set_value(); });
        EXPECT_TRUE(clock.tickWhenAwaited(std::chrono::minutes(59))) << "the earlier one first";
        later.get_future().wait();
        queue.dispatch([&] { ran.push_back(5); });
    }
    EXPECT_THAT(ran, testing::ElementsAre(0, 1, 2, 3, 4, 5));
}

TEST(GuardedFileSystem, TellsWhatExists) {
    backends::posix::GuardedFileSystem disk;
    const std::vector<std::string_view> paths{"/", "/proc/self/stat", "/no such item", "/proc"};
    EXPECT_THAT(disk.existence(paths), testing::ElementsAre(Existence::exists, Existence::exists,
                                                            Existence::missing, Existence::exists));
    EXPECT_TRUE(disk.kind("/proc/self")->isDirectory);
    EXPECT_TRUE(disk.kind("/proc/self")->isLink);
    EXPECT_EQ(disk.kind("/no such item"), std::nullopt);
    EXPECT_THAT(disk.entryNames("/proc/self"), testing::Contains("stat"));
    EXPECT_THAT(disk.entryNames("/no such item"), testing::IsEmpty());
}

TEST(MountPoints, TellWhereElseABindMountCanBeReached) {
    const backends::posix::MountPoints mounts(
        "26 1 254:0 / / rw shared:1 - ext4 /dev/vda rw\n"
        "30 26 8:1 /@home /home rw - btrfs /dev/sda rw\n"
        "31 26 254:0 /data/My\\040Files /mnt/one\\134\\040 rw - ext4 /dev/vda rw\n"
        "32 26 8:1 /@home/ana/d /mnt/two rw - btrfs /dev/sda rw\n"
        "33 26 8:1 /@homes /mnt/three rw - btrfs /dev/sda rw\n");
    EXPECT_THAT(mounts.otherPathsOf("/mnt/one\\ "), testing::ElementsAre("/data/My Files"));
    EXPECT_THAT(mounts.otherPathsOf("/mnt/two"), testing::ElementsAre("/home/ana/d"));
    for (const char* path : {"/", "/home", "/mnt/three", "/mnt/two/below"})
        EXPECT_THAT(mounts.otherPathsOf(path), testing::IsEmpty()) << path;
}

// Answers on "/proc" at once; everything else waits to be let through.
class SlowDisk final : public backends::posix::Disk {
  public:
    bool exists(const std::string& path) const override {
        if (path.starts_with("/proc")) return true;
        std::unique_lock guard(lock);
        ++hanging;
        hangs.notify_all();
        freed.wait(guard, [&] { return passes > 0; });
        --hanging;
        --passes;
        return true;
    }
    std::optional<platform::FileKind> kind(const std::string& path) const override {
        return exists(path) ? std::optional(platform::FileKind()) : std::nullopt;
    }
    std::vector<std::string> entryNames(const std::string&) const override { return {}; }

    void letThrough(int count) const {
        const std::lock_guard guard(lock);
        passes += count;
        freed.notify_all();
    }
    // Until one waits that is not let through: then all before it are done.
    void waitUntilItHangs() const {
        std::unique_lock guard(lock);
        EXPECT_TRUE(hangs.wait_for(guard, support::deadline, [&] { return passes == 0 && hanging > 0; }));
    }

  private:
    mutable std::mutex lock;
    mutable std::condition_variable freed;
    mutable std::condition_variable hangs;
    mutable int passes = 0;
    mutable int hanging = 0;
};

// One deadline for a whole batch, though the disk goes on answering; other mounts are answered meanwhile, and
// what comes late is announced and remembered. A mount that hangs costs nothing after a few deadlines.
TEST(GuardedFileSystem, IsHeldUpByNoSlowOrDeadMount) {
    const auto disk = std::make_shared<const SlowDisk>();
    support::TestClock clock;
    support::InlineQueue deadlines;
    backends::posix::GuardedFileSystem fileSystem({disk, clock, deadlines});
    support::RecordingLog late;
    const auto told = fileSystem.whenAnsweredLate([&](const std::vector<std::string>& paths) {
        for (const std::string& path : paths)
            late.info(path);
    });
    std::vector<std::string> batch{"/proc/x"};
    for (int i = 0; i < 20; ++i)
        batch.push_back("/slow" + std::to_string(i));
    const auto ask = [&](std::vector<std::string> paths) {
        auto answers = std::make_shared<std::promise<std::vector<Existence>>>();
        fileSystem.askExistence(std::move(paths),
                                [answers](auto all) { answers->set_value(std::move(all)); });
        return answers->get_future();
    };
    const auto existing = [](std::future<std::vector<Existence>> asked) {
        if (asked.wait_for(support::deadline) != std::future_status::ready) return std::ptrdiff_t{-1};
        const auto answers = asked.get();
        return std::count(answers.begin(), answers.end(), Existence::exists);
    };

    auto first = ask(batch);
    disk->letThrough(2);
    disk->waitUntilItHangs();
    EXPECT_EQ(existing(ask({"/proc/a", "/proc/b"})), 2) << "another mount goes on";
    deadlines.runDelayed();
    EXPECT_EQ(existing(std::move(first)), 3) << "what was answered by the deadline";
    EXPECT_EQ(existing(ask({batch.begin() + 3, batch.end()})), 0) << "looked for already";
    disk->letThrough(18);
    EXPECT_TRUE(support::eventually([&] { return late.lines().size() == 18; }));
    EXPECT_EQ(existing(ask({batch.begin() + 3, batch.end()})), 18) << "known without the disk";

    for (int i = 0; i < 5; ++i) { // a few helpers hang, then the mount counts as dead
        auto hanging = ask({"/dead" + std::to_string(i)});
        deadlines.runDelayed();
        EXPECT_EQ(existing(std::move(hanging)), 0);
    }
    ASSERT_EQ(existing(ask({"/dead", "/proc/a"})), 1);
    EXPECT_EQ(fileSystem.kind("/dead"), std::nullopt);
    disk->letThrough(100);
    EXPECT_TRUE(late.waitFor("/dead")) << "asked for though nothing answered";
    clock.tick(std::chrono::minutes(1));
    EXPECT_EQ(existing(ask({"/dead"})), 1) << "asked again after a while";
}

TEST(ConcurrentQueue, IsNotHeldUpByWorkThatWaitsForItsTime) {
    support::TestClock clock;
    backends::posix::ConcurrentQueue queue("test", 1, clock);
    queue.dispatchAfter(std::chrono::hours(1), [] { ADD_FAILURE() << "an hour too early"; });
    std::promise<void> later;
    queue.dispatchAfter(std::chrono::minutes(59), [&] { later.set_value(); });
    queue.dispatchAndWait([] {});
    clock.tick(std::chrono::minutes(59));
    later.get_future().wait();
}

TEST(ChildProcess, IsWaitedForUntilTheDeadlineOfTheClock) {
    support::TestClock clock;
    backends::posix::ChildProcess child({"/bin/cat", {}, true}, clock);
    auto line =
        std::async(std::launch::async, [&] { return child.readLine(clock.now() + std::chrono::hours(1)); });
    EXPECT_TRUE(clock.tickWhenAwaited(std::chrono::hours(1)));
    EXPECT_EQ(line.get(), std::nullopt);
    EXPECT_FALSE(child.hasEnded());
}

TEST(FileWatch, SeesTheFileComeChangeAndGo) {
    const support::TemporaryFolder top;
    const std::string file = top.path("config/program/settings");
    std::mutex lock;
    std::condition_variable called;
    std::string seen; // what the handler read last
    backends::posix::FileWatch watch(file, [&] {
        const std::lock_guard guard(lock);
        seen = support::contentOf(file);
        called.notify_all();
    });
    // The folders are made one level after the other, with the watch behind.
    const auto write = [&](const char* text) { top.write("config/program/settings", text); };
    const std::pair<const char*, std::function<void()>> steps[] = {
        {"first", [&] { write("first"); }},
        {"in place", [&] { write("in place"); }},
        {"renamed", [&] { fs::rename(top.write("config/program/new", "renamed"), file); }},
        {"", [&] { fs::rename(top / "config", top / "former"); }},
        {"beside the former", [&] { write("beside the former"); }},
        {"", [&] { fs::remove_all(top / "config"); }},
        {"linked",
         [&] {
             fs::create_directories(top / "config/program");
             fs::create_symlink(top.write("elsewhere", "linked"), file);
         }},
        {"behind the link", [&] { top.write("elsewhere", "behind the link"); }},
    };
    for (const auto& step : steps) {
        step.second();
        std::unique_lock guard(lock);
        EXPECT_TRUE(called.wait_for(guard, std::chrono::seconds(20), [&] { return seen == step.first; }))
            << step.first << ", but " << seen;
    }
}

TEST(InotifyEvents, SaysThatTheKernelHasDroppedSome) {
    const support::TemporaryFolder folder;
    std::promise<void> flooded;
    std::promise<void> lost;
    backends::posix::InotifyEvents events;
    events.start([&, flood = flooded.get_future().share()](const platform::DirectoryEvent& event) {
        flood.wait(); // a receiver that is slower than the disk
        if (event.isLost) lost.set_value();
    });
    ASSERT_TRUE(events.watchTree(folder.path()));
    // Twice as many events as the kernel's queue holds.
    fs::path from = folder.write("a", "");
    fs::path to = folder / "b";
    for (int renames = std::stoi(support::contentOf("/proc/sys/fs/inotify/max_queued_events")); renames > 0;
         --renames) {
        fs::rename(from, to);
        std::swap(from, to);
    }
    flooded.set_value();
    EXPECT_EQ(lost.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
    events.stop();
}

} // namespace
