// Queues, and a disk that hangs.
#include "backends/posix/FileWatch.h"
#include "backends/posix/GuardedFileSystem.h"
#include "backends/posix/InotifyEvents.h"
#include "backends/posix/SerialQueue.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <future>

namespace {

namespace fs = std::filesystem;
using platform::Existence;

TEST(SerialQueue, RunsWorkInOrderAndDropsWhatWaitsForItsTime) {
    std::vector<int> ran;
    {
        backends::posix::SerialQueue queue("test");
        queue.dispatchAfter(std::chrono::hours(1), [&] { ran.push_back(99); });
        for (int i = 0; i < 3; ++i)
            queue.dispatch([&ran, i] { ran.push_back(i); });
        queue.dispatchAndWait([&] {
            ran.push_back(3);
            queue.dispatchAndWait([&] { ran.push_back(4); }); // on the queue itself: at once
        });
        std::promise<void> later;
        queue.dispatchAfter(std::chrono::milliseconds(1), [&] { later.set_value(); });
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

// A mount that hangs is left after the patience, costs nothing while it hangs, and is announced when it is
// back; another mount goes on answering.
TEST(GuardedFileSystem, LeavesAMountThatHangs) {
    std::mutex lock;
    std::condition_variable freed;
    bool isFree = false;
    int probes = 0;
    std::promise<std::string> recovered;
    {
        backends::posix::GuardedFileSystem disk(
            std::chrono::milliseconds(20), [&](const std::string& path) -> std::optional<platform::FileKind> {
                if (path.starts_with("/proc")) return platform::FileKind{};
                std::unique_lock guard(lock);
                ++probes;
                freed.wait(guard, [&] { return isFree; });
                return platform::FileKind{};
            });
        disk.setRecovered([&](const std::string& mountPoint) { recovered.set_value(mountPoint); });
        const std::vector<std::string_view> both{"/x", "/proc/x"};
        EXPECT_THAT(disk.existence(both), testing::ElementsAre(Existence::unknown, Existence::exists));
        EXPECT_THAT(disk.existence(both), testing::ElementsAre(Existence::unknown, Existence::exists));
        EXPECT_EQ(disk.kind("/x"), std::nullopt);
        {
            const std::lock_guard guard(lock);
            EXPECT_EQ(probes, 1);
            isFree = true;
        }
        freed.notify_all();
        EXPECT_EQ(recovered.get_future().get(), "/");
        EXPECT_THAT(disk.existence(both), testing::ElementsAre(Existence::exists, Existence::exists));
    }
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
