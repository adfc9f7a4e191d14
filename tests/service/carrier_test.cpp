#include "service/Carrier.h"
#include "tests/service/FolderTrash.h"
#include "tests/service/TrickySpace.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/fakes.h"

#include <gtest/gtest.h>

#include <atomic>

namespace service {
namespace {

namespace fs = std::filesystem;

// What waits, and what is in hand when the service ends, is brought by the next one; what is over is not.
TEST(Carrier, BeginsAgainWhatAnotherLeft) {
    const support::TemporaryFolder place;
    support::RecordingLog log;
    FolderTrash trash(place / "trash");
    TrickySpace space;
    const auto carrier = [&](bool isPaused) {
        return std::make_unique<Carrier>(
            space, trash, log, [] {}, isPaused, place / "list");
    };
    for (const char* name : {"first", "second", "a\nb"})
        std::ofstream(place / name) << name;
    {
        const auto paused = carrier(true);
        paused->add({Carrier::Kind::copy, place.path("first"), "/in"});
        paused->add({Carrier::Kind::move, place.path("second"), "/in"});
        paused->add({Carrier::Kind::copy, place.path("a\nb"), "/in"}); // no storage can hold it
    }
    std::ofstream(place / "list", std::ios::app) << "[false,0,\"half a li"; // killed in the middle of a line
    EXPECT_EQ(carrier(true)->tasks().size(), 3U);
    std::atomic<bool> isPaused = false;
    {
        std::unique_ptr<Carrier> ended = carrier(true);
        space.before = [&](const auto& operation, const auto& path) -> std::optional<Failure> {
            if (operation != "moveFile" || space.asked["moveFile"] != 2) return std::nullopt;
            // It has its name, and nobody learns of it.
            space.items["in/second"] = space.items.at(path);
            space.items.erase(path);
            ended->setPaused(true);
            isPaused = true;
            return Failure{Trouble::cancelled, "killed in the middle"};
        };
        ended->setPaused(false);
        EXPECT_TRUE(support::eventually([&] { return isPaused.load(); }));
    }
    EXPECT_TRUE(fs::exists(place / "second"));
    {
        const auto last = carrier(false);
        EXPECT_TRUE(support::eventually([&] { return last->tasks().empty(); }));
    }
    EXPECT_EQ(space.items.at("in/first").content, "first");
    EXPECT_EQ(space.items.at("in/second").content, "second");
    EXPECT_FALSE(space.items.contains("in/first (2)") || space.items.contains("in/second (2)"));
    EXPECT_FALSE(fs::exists(place / "second"));
    EXPECT_TRUE(carrier(true)->tasks().empty());
}

// A folder of files that come and go, and of a pair, which keeps things of its own in it.
TEST(Carrier, BringsAFolderUpAsItIsInTheEnd) {
    const support::TemporaryFolder place;
    support::RecordingLog log;
    FolderTrash trash(place / "trash");
    TrickySpace space;
    fs::create_directories(place / "pair/.tsyncquenz");
    for (const char* name : {"pair/a", "pair/b", "pair/.tsyncquenz/mark"})
        std::ofstream(place / name) << name;
    std::string left;
    space.before = [&](const auto& operation, const std::string& path) -> std::optional<Failure> {
        if (operation == "bringUp" && left.empty()) {
            left = path.ends_with("/a") ? "a" : "b";
            fs::remove(place / (left == "a" ? "pair/b" : "pair/a"));
        }
        return std::nullopt;
    };
    Carrier carrier(
        space, trash, log, [] {}, false, place / "list");
    carrier.add({Carrier::Kind::copy, place.path("pair"), "/in"});
    EXPECT_TRUE(support::eventually([&] { return carrier.tasks().empty(); }));
    std::string all;
    for (const auto& [path, item] : space.items)
        all += path + "\n";
    EXPECT_EQ(all, ".tsyncquenz\n.tsyncquenz/up\nin\nin/pair\nin/pair/" + left + "\n");
}

} // namespace
} // namespace service
