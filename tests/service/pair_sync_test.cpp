#include "tests/service/StorageComputer.h"

namespace service {
namespace {

class PairOnEachStorage : public testing::TestWithParam<const char*> {
  protected:
    // A folder of the test's own in the storage.
    std::string storage() const {
        static int number = 0;
        const std::string name = "test" + std::to_string(++number);
        const std::string base = servers().storage(GetParam());
        return base + (base.ends_with(':') ? "" : "/") + name;
    }
    void settleAll() {
        for (Computer* who : {&one, &two, &one, &two})
            EXPECT_EQ(who->settle(), "");
        EXPECT_EQ(one.tree(), two.tree());
    }
    support::TemporaryFolder place;
    const std::string space = storage();
    StorageComputer one{place.path(), space, "one"};
    StorageComputer two{place.path(), space, "two"};
};

TEST_P(PairOnEachStorage, KeepsTwoComputersInStep) {
    write(one / "a.txt", "one");
    write(one / "d/b.txt", "two");
    fs::create_directories(one / "empty");
    write(two / "a.txt", "one");
    settleAll();
    EXPECT_EQ(two.tree(), (Files{{"a.txt", "one"}, {"d", "/"}, {"d/b.txt", "two"}, {"empty", "/"}}));

    // A version of equal size; where times are told by the second it would have to be a second
    // later.
    const std::string changed = std::string(GetParam()) == "disk" ? "ONE" : "longer";
    write(one / "a.txt", changed);
    fs::rename(two / "d", two / "e");
    write(two / "e/new", "");
    fs::remove(one / "empty");
    settleAll();
    EXPECT_EQ(two.tree(), (Files{{"a.txt", changed}, {"e", "/"}, {"e/b.txt", "two"}, {"e/new", ""}}));

    // Both change one file: both versions stay, on both computers.
    write(one / "a.txt", "first");
    write(two / "a.txt", "second");
    fs::remove_all(one / "e");
    write(two / "e/late.txt", "something new in what goes");
    settleAll();
    const Files files = one.tree();
    EXPECT_EQ(files.at("a.txt"), "first");
    EXPECT_EQ(files.at("a (conflict two 2026-11-25 140000 1f6a).txt"), "second");
    EXPECT_EQ(files.at("e/late.txt"), "something new in what goes");
    EXPECT_FALSE(files.contains("e/b.txt"));
    const Files thrown = treeOf(two.home / "trash");
    EXPECT_TRUE(
        std::any_of(thrown.begin(), thrown.end(), [](const auto& item) { return item.second == "two"; }));
}

TEST_P(PairOnEachStorage, BringsASavedFileUpAlone) {
    using namespace std::chrono_literals;
    write(one / "d/a.txt", "one");
    write(one / "d/gone", "one");
    EXPECT_EQ(one.settle(), "");
    const auto savePart = [&](const std::string& text) { // not in a whole second, where times tell little
        std::ofstream writer;
        struct stat info {};
        do {
            writer = std::ofstream(one / "d/a.txt");
            writer << text << std::flush;
            ::stat((one / "d/a.txt").c_str(), &info);
        } while (info.st_ctim.tv_nsec == 0);
        return writer;
    };
    {
        const std::ofstream writer = savePart("a part");
        EXPECT_EQ(one.hurry({"d/a.txt"}, 1ms), "0 done, restless");
        EXPECT_EQ(one.hurry({"d/a.txt"}, 100ms), "0 done, restless"); // somebody writes still
    }
    EXPECT_EQ(one.hurry({"d/a.txt"}, 1ms), "1 done");
    EXPECT_EQ(one.hurry({"d/a.txt"}, 1ms), "0 done");
    savePart("again");
    EXPECT_EQ(one.hurry({"d/a.txt"}, 1ms), "0 done, restless");
    EXPECT_EQ(one.hurry({"d/a.txt"}, 100ms), "0 done, restless"); // again so soon
    EXPECT_EQ(one.hurry({"d/a.txt"}, 2s), "1 done");
    write(one / "d/new", "new");
    EXPECT_EQ(one.hurry({"d/new"}, 100ms), "0 done, restless");
    EXPECT_EQ(one.hurry({"d/new"}, 100ms), "0 done, restless"); // a new name
    EXPECT_EQ(one.hurry({"d/new"}, 2s), "1 done");
    EXPECT_EQ(one.hurry({"came and went"}, 1ms), "0 done");
    fs::remove(one / "d/gone");
    EXPECT_EQ(one.hurry({"d/gone"}, 1ms), "");
    write(one / "e/new", "new");
    EXPECT_EQ(one.hurry({"e"}, 1ms), "");
    EXPECT_EQ(one.hurry({"e/new"}, 1ms), "");
}

TEST_P(PairOnEachStorage, BringsManyNewItemsAtOnce) {
    const std::string odd = "[an] odd*, na{m}e? \\ \u00e4";
    const auto writeMany = [&](Computer& who, const std::string& word) {
        for (int i = 0; i < 9; ++i) {
            const std::string name = word + std::to_string(i);
            write(who / (odd + "/" + (i % 2 == 0 ? "deeper/" : "") + name), word + name);
            write(who / name, name); // beside others, in a folder that is there
        }
        fs::create_directories(who / (odd + "/" + word));
    };
    writeMany(one, "first");
    settleAll();
    writeMany(two, "second"); // into folders that exist, on both sides
    write(two / "new/with a link", "text");
    settleAll();
    EXPECT_EQ(one.tree().size(), 42U);
    // A name that somebody took meanwhile is left to him, and nothing of a batch that fails is left behind.
    writeMany(one, "third");
    writeMany(two, "third");
    write(one / "third3", "another");
    settleAll();
    EXPECT_EQ(one.tree().at("third3"), "another");
}

// Somebody else takes the name between the look that found it free and the move.
TEST_P(PairOnEachStorage, TakesNoNameThatSomebodyTookMeanwhile) {
    const auto writeMany = [this](const std::string& prefix) {
        for (int i = 0; i < 9; ++i)
            write(one / (prefix + std::to_string(i)), "many");
    };
    one.step = two.step = std::chrono::minutes(3); // no unrest is long
    write(one / "replaced", "agreed");
    write(one / "old", "mine, moved");
    settleAll();
    struct Case {
        const char* path;  // the name
        const char* taken; // what the other one makes
        std::function<void()> act;
    };
    const Case cases[] = {
        {"new", "new", [&] { write(one / "new", "mine, new"); }},
        {"replaced", "replaced", [&] { write(one / "replaced", "mine, replaced"); }},
        {"moved", "moved", [&] { fs::rename(one / "old", one / "moved"); }},
        {"many5", "many5",
         [&] {
             writeMany("many");
             write(one / "many5", "mine, many5");
         }},
        {"folder", "folder/5",
         [&] {
             writeMany("folder/");
             write(one / "folder/5", "mine, folder");
         }},
    };
    for (const auto& [path, taken, act] : cases) {
        SCOPED_TRACE(path);
        act();
        write(place / "theirs", std::string("of somebody, ") + path);
        bool isTaken = false;
        one.space.movesTo = [&, to = std::string("pair/") + path,
                             file = std::string("pair/") + taken](const std::string& target) {
            if (target != to || std::exchange(isTaken, true)) return;
            EXPECT_TRUE(one.space.bringUp(place.path("theirs"), file).wait());
        };
        settleAll();
        EXPECT_TRUE(isTaken);
        std::set<std::string> contents;
        for (const auto& [name, content] : one.tree())
            contents.insert(content);
        EXPECT_TRUE(contents.contains(std::string("of somebody, ") + path));
        EXPECT_TRUE(contents.contains(std::string("mine, ") + path));
    }
}

INSTANTIATE_TEST_SUITE_P(PairSync, PairOnEachStorage, testing::Values("disk", "sftp", "webdav", "secret"),
                         [](const auto& storage) { return std::string(storage.param); });

} // namespace
} // namespace service
