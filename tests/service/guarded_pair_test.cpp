// What is deleted or replaced on one side, and what the other makes of it.
#include "service/space_trash.h"
#include "tests/service/StorageComputer.h"

namespace service {
namespace {

class GuardedPair : public testing::Test {
  protected:
    GuardedPair() {
        for (int i = 0; i < 100; ++i)
            write(one / nameOf(i), nameOf(i));
        one.confirmsAll = false;
        EXPECT_EQ(one.settle(), "");
    }
    static std::string nameOf(int number) {
        return (number < 50 ? "low/" : "high/") + std::to_string(number);
    }
    void removeHere(int from, int to) {
        for (int i = from; i < to; ++i)
            fs::remove(one / nameOf(i));
    }
    std::size_t countThere() const { return filesOf(there).size(); }
    static const fs::path& newSpace() {
        static int number = 0;
        static fs::path folder;
        folder = servers().files("disk") / ("guarded" + std::to_string(++number));
        return folder;
    }
    const fs::path there = newSpace() / "pair";
    support::TemporaryFolder place;
    StorageComputer one{place.path(), "disk:" + there.parent_path().filename().string(), "one"};
};

TEST_F(GuardedPair, AsksBeforeManyFilesAreDeletedAndDoesExactlyWhatWasConfirmed) {
    removeHere(0, 12);
    EXPECT_EQ(one.waitingFiles(), 0U);
    EXPECT_EQ(countThere(), 88U);
    removeHere(12, 25); // too many together, though not at once, and a restart forgets nothing
    write(one / "new", "goes on");
    one.restart();
    EXPECT_EQ(one.waitingFiles(), 13U);
    EXPECT_EQ(countThere(), 89U);
    const std::string list = one.waiting->list;
    fs::remove(one / nameOf(60));
    EXPECT_EQ(one.waitingFiles(), 14U);
    EXPECT_FALSE(one.confirm(list));
    EXPECT_TRUE(one.confirm(one.waiting->list));
    fs::remove(one / nameOf(61)); // came after the word
    EXPECT_EQ(one.waitingFiles(), 0U);
    EXPECT_EQ(countThere(), 74U); // what was confirmed counts no more: this is the thirteenth
    one.now += std::chrono::hours(25);
    removeHere(25, 32);
    EXPECT_EQ(one.waitingFiles(), 0U);
    EXPECT_EQ(countThere(), 67U);
    fs::remove_all(one / "low"); // one folder, in one piece
    EXPECT_EQ(one.waitingFiles(), 18U);
    for (int i = 40; i < 45; ++i) // back again
        write(one / nameOf(i), nameOf(i));
    EXPECT_EQ(one.waitingFiles(), 0U);
    write(one / "copy", nameOf(41)); // so that one of them is no loss, and its folder goes all the same
    EXPECT_EQ(one.waitingFiles(), 0U);
    fs::remove_all(one / "low");
    EXPECT_EQ(one.waitingFiles(), 4U);
    EXPECT_TRUE(one.confirm(one.waiting->list));
    EXPECT_EQ(one.waitingFiles(), 0U);
    EXPECT_FALSE(fs::exists(there / "low"));
}

TEST_F(GuardedPair, AsksBeforeMuchIsTakenFromHere) {
    one.now += std::chrono::minutes(15);         // what was uploaded of late is not believed to be deleted
    one.step = std::chrono::seconds(3);          // less than a deletion rests
    fs::rename(there / "high", there / "moved"); // by another computer: this storage tells it from nothing
    EXPECT_EQ(one.waitingFiles(), 0U);
    EXPECT_EQ(support::contentOf(one / "moved/93"), nameOf(93));
    EXPECT_FALSE(fs::exists(one / "high"));
    fs::rename(there / "moved", there / "high");
    one.step = std::chrono::minutes(15);
    one.settle(); // asks before the files have come back, and no more then
    EXPECT_EQ(one.waitingFiles(), 0U);
    fs::remove_all(there / "low");
    fs::create_directories(there / "low");
    EXPECT_EQ(one.waitingFiles(), 50U);
    EXPECT_EQ(one.tree().size(), 102U);
    for (int i = 0; i < 100; ++i) { // set back to what it was last month, and newer versions
        write(there / nameOf(i), "last month");
        if (i < 90)
            fs::last_write_time(there / nameOf(i), fs::file_time_type::clock::now() - std::chrono::days(30));
    }
    EXPECT_EQ(one.waitingFiles(), 90U);
    EXPECT_EQ(support::contentOf(one / nameOf(3)), nameOf(3));
    EXPECT_EQ(support::contentOf(one / nameOf(93)), "last month");
    EXPECT_TRUE(one.confirm(one.waiting->list));
    EXPECT_EQ(one.waitingFiles(), 0U);
    EXPECT_EQ(support::contentOf(one / nameOf(3)), "last month");
    fs::remove_all(there);
    fs::create_directories(there);
    EXPECT_EQ(one.waitingFiles(), 100U);
    EXPECT_TRUE(fs::exists(one / "low"));
}

TEST_F(GuardedPair, BelievesADeletionThereOnlyWhenItIsOne) {
    const std::optional<RemoteItem> nothing;
    bool isBad = false;
    one.space.edits = [&isBad](const std::string& folder, FaultySpace::Items& items) {
        if (isBad && folder == "pair/low")
            std::erase_if(items, [](const RemoteItem& item) { return item.name == "3"; });
    };
    const struct {
        const char* what;
        std::function<std::optional<Outcome<FaultySpace::Items>>(const std::string&)> lists;
        std::function<std::optional<Outcome<std::optional<RemoteItem>>>(const std::string&)> looks;
        bool fails; // else something waits, or is tried again
    } cases[] = {
        {"an error in the middle of a listing",
         [](const auto& folder) -> std::optional<Outcome<FaultySpace::Items>> {
             if (folder != "pair/high") return std::nullopt;
             return Outcome<FaultySpace::Items>(Failure{Trouble::unreachable, "cut off"});
         },
         nullptr, true},
        {"a storage that lists nothing where it had all",
         [](const auto& folder) -> std::optional<Outcome<FaultySpace::Items>> {
             if (folder != "pair") return std::nullopt;
             return Outcome<FaultySpace::Items>(FaultySpace::Items());
         },
         nullptr, false},
        {"a folder that is listed as empty and is none",
         [](const auto& folder) -> std::optional<Outcome<FaultySpace::Items>> {
             if (folder != "pair/low") return std::nullopt;
             return Outcome<FaultySpace::Items>(FaultySpace::Items());
         },
         [&nothing](const auto& path) -> std::optional<Outcome<std::optional<RemoteItem>>> {
             if (path != "pair/low") return std::nullopt;
             return Outcome<std::optional<RemoteItem>>(nothing);
         },
         true},
        {"a name that the looks miss and a newer list has", nullptr,
         [&isBad](const auto& path) -> std::optional<Outcome<std::optional<RemoteItem>>> {
             if (path == "pair/low") isBad = false; // the question before a deletion
             return std::nullopt;
         },
         false},
    };
    for (const auto& [what, lists, looks, fails] : cases) {
        one.space.lists = lists;
        one.space.looks = looks;
        isBad = !lists;
        const std::string said = one.settle();
        EXPECT_EQ(!said.empty(), fails) << what;
        EXPECT_EQ(one.tree().size(), 102U) << what;
        EXPECT_EQ(countThere(), 100U) << what;
    }
    EXPECT_FALSE(isBad);
    one.space.lists = nullptr;
    one.space.looks = nullptr;
    EXPECT_EQ(one.waitingFiles(), 0U);

    one.step = std::chrono::minutes(1);
    write(one / "new", "of late");
    EXPECT_EQ(one.waitingFiles(), 0U);
    fs::remove(there / "new");
    for (int minute = 0; minute < 8; ++minute) {
        one.now += one.step;
        EXPECT_TRUE(one.roundIsRestless());
    }
    EXPECT_TRUE(fs::exists(one / "new")); // a storage may list an upload late
    EXPECT_EQ(one.waitingFiles(), 0U);
    EXPECT_FALSE(fs::exists(one / "new"));
}

TEST_F(GuardedPair, DoesNothingWithARootThatIsAnother) {
    const fs::path marks[] = {there.parent_path() / ".tsyncquenz/space", one / ".tsyncquenz/root"};
    for (const fs::path& mark : marks) {
        ASSERT_TRUE(fs::exists(mark));
        const std::string content = support::contentOf(mark);
        fs::remove(mark);
        fs::remove(there / nameOf(0));
        write(one / "new", "waits");
        EXPECT_TRUE(one.settle().starts_with("failed: ")) << mark;
        write(mark, std::string(content.size(), 'x'));
        one.restart();
        EXPECT_TRUE(one.settle().starts_with("failed: ")) << mark;
        EXPECT_TRUE(fs::exists(one / nameOf(0)));
        EXPECT_FALSE(fs::exists(there / "new"));
        write(mark, content);
    }
    EXPECT_EQ(one.waitingFiles(), 0U);
    EXPECT_TRUE(fs::exists(there / "new"));
}

TEST_F(GuardedPair, LosesNothingThatWasWrittenLateOrNotToItsEnd) {
    const auto contents = [this] {
        std::map<std::string, int> count;
        for (const auto& [path, content] : one.tree())
            ++count[content];
        return count;
    };
    for (const bool restarts : {false, true}) {
        const std::string version = restarts ? "newest" : "newer";
        write(there / nameOf(1), version);
        for (int round = 0; round < 5 && support::contentOf(one / nameOf(1)) != version; ++round) {
            one.now += one.step;
            one.roundIsRestless();
        }
        if (restarts) one.settle();
        std::vector<std::ofstream> writers; // their programs have them open still
        for (const auto& entry : fs::directory_iterator(one / ".tsyncquenz/kept")) {
            writers.emplace_back(entry.path())
                << (restarts ? "written late" : "written after it was replaced");
            writers.back().flush();
        }
        if (restarts) {
            one.restart();
            one.roundIsRestless();
            one.restart();
        }
        writers.clear();
        EXPECT_EQ(one.waitingFiles(), 0U);
    }
    const std::vector<std::string> told = one.log.take();
    EXPECT_EQ(std::count_if(told.begin(), told.end(),
                            [](const std::string& line) {
                                return line.starts_with("Somebody wrote to low/1 after it was replaced");
                            }),
              2);
    EXPECT_EQ(contents()["newest"], 1);
    EXPECT_EQ(contents()["written after it was replaced"], 1);
    EXPECT_GE(contents()["written late"], 1);

    write(one / nameOf(2), "");
    one.crashTheMachine();
    EXPECT_EQ(one.waitingFiles(), 0U);
    EXPECT_EQ(support::contentOf(one / nameOf(2)), nameOf(2));
    EXPECT_EQ(support::contentOf(there / nameOf(2)), nameOf(2));
    EXPECT_EQ(contents()[""], 1); // beside it
    write(one / nameOf(3), "");   // a person may empty a file
    EXPECT_EQ(one.waitingFiles(), 0U);
    EXPECT_EQ(support::contentOf(there / nameOf(3)), "");
}

TEST_F(GuardedPair, ThrowsIntoATrashFromWhichItemsComeBackUntilTheyAreOld) {
    const auto restored = [this](int number) {
        const auto path = trash::restore(one.space, "pair/" + nameOf(number), {});
        return path ? *path : path.failure().text;
    };
    write(one / nameOf(5), "newer");
    fs::remove(one / nameOf(4));
    EXPECT_EQ(one.waitingFiles(), 0U);
    EXPECT_EQ(restored(4), "pair/low/4");
    EXPECT_EQ(restored(5), "pair/low/5 (2)"); // the older version, beside the newer
    EXPECT_EQ(one.waitingFiles(), 0U);
    EXPECT_EQ(support::contentOf(one / nameOf(4)), nameOf(4));
    EXPECT_EQ(support::contentOf(one / "low/5 (2)"), nameOf(5));
    EXPECT_FALSE(trash::restore(one.space, "pair/" + nameOf(4), {}));
    one.confirmsAll = true;
    fs::remove_all(one / "low");
    EXPECT_EQ(one.settle(), "");
    EXPECT_EQ(countThere(), 50U);
    EXPECT_EQ(restored(7), "pair/low/7"); // out of a folder that went as a whole

    const auto removed = [this](std::chrono::days later, std::chrono::days age) {
        const auto start = std::chrono::sys_seconds(std::chrono::seconds(1795615200));
        return *trash::removeOld(one.space, one.home / "seen", {age, std::chrono::days(7)}, start + later,
                                 {});
    };
    const std::chrono::days month(30);
    EXPECT_EQ(removed(std::chrono::days(400), month), 0U); // a clock that is wrong, or right: seen only now
    EXPECT_EQ(removed(std::chrono::days(429), month), 0U);
    EXPECT_EQ(removed(std::chrono::days(431), std::chrono::days(0)), 0U);
    EXPECT_GT(removed(std::chrono::days(431), month), 0U);
    EXPECT_FALSE(trash::restore(one.space, "pair/" + nameOf(8), {}));
}

} // namespace
} // namespace service
