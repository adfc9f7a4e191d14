#include "backends/rclone/RcloneSpace.h"
#include "service/PairSync.h"
#include "service/WatchedSpace.h"
#include "service/space_trash.h"
#include "tests/service/FolderTrash.h"
#include "tests/support/StorageServers.h"
#include "tests/support/fakes.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

extern char** environ;

namespace service {
namespace {

namespace fs = std::filesystem;

support::StorageServers& servers() {
    static support::StorageServers all;
    return all;
}

backends::rclone::RemoteControl::Settings controlSettings() {
    backends::rclone::RemoteControl::Settings settings;
    for (char** entry = environ; *entry; ++entry)
        settings.environment.emplace_back(*entry);
    settings.environment.push_back("RCLONE_CONFIG=" + servers().configuration());
    return settings;
}

void write(const fs::path& file, const std::string& content) {
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
}

// A storage that answers wrongly on demand: what a hook returns is its answer.
class FaultySpace final : public WatchedSpace {
  public:
    using Items = std::vector<RemoteItem>;
    explicit FaultySpace(RemoteSpace& real) : WatchedSpace(real, [](const auto&) {}) {}
    std::function<std::optional<Outcome<Items>>(const std::string& folder)> lists;
    std::function<std::optional<Outcome<std::optional<RemoteItem>>>(const std::string& path)> looks;
    std::function<void(const std::string& folder, Items& items)> edits; // of true lists
    std::function<void(const std::string& to)> movesTo;                 // before a move
    Pending<Items> list(const std::string& folder, bool withDigests) override {
        if (const auto answer = lists ? lists(folder) : std::nullopt) return Pending<Items>(*answer);
        auto items = WatchedSpace::list(folder, withDigests).wait();
        if (items && edits) edits(folder, *items);
        return Pending<Items>(std::move(items));
    }
    Pending<std::optional<RemoteItem>> look(const std::string& path, bool withDigests) override {
        if (const auto answer = looks ? looks(path) : std::nullopt)
            return Pending<std::optional<RemoteItem>>(*answer);
        return WatchedSpace::look(path, withDigests);
    }
    Pending<Done> moveFile(const std::string& path, const std::string& to) override {
        if (movesTo) movesTo(to);
        return WatchedSpace::moveFile(path, to);
    }
    Pending<Done> moveFolder(const std::string& path, const std::string& to) override {
        if (movesTo) movesTo(to);
        return WatchedSpace::moveFolder(path, to);
    }
};

// A machine of a person: its folder, what it remembers, its trash.
class Computer {
  public:
    Computer(const fs::path& place, const std::string& storage, const std::string& name)
        : home(place / name), control(controlSettings(), log), real(control, storage, home / "links"),
          space(real), trash(home / "trash"), host(name) {
        fs::create_directories(home / "pair");
        EXPECT_TRUE(space.makeFolder("pair").wait());
        restart();
    }
    void restart() {
        sync.reset();
        store.reset();
        local.emplace(home / "pair");
        store.emplace(home / "state.db");
        PairSync::Settings settings;
        settings.remoteFolder = "pair";
        settings.host = host;
        settings.bootId = boot;
        settings.booted = std::chrono::sys_seconds(std::chrono::seconds(4102444800)); // all files are older
        sync.emplace(PairSync::Surroundings{
                         space, *local, *store, trash, log, [this] { return now; },
                         [] { return std::chrono::sys_seconds(std::chrono::seconds(1795615200)); },
                         [this] {
                             return std::chrono::sys_seconds(std::chrono::seconds(1795615200)) +
                                    std::chrono::floor<std::chrono::seconds>(now.time_since_epoch());
                         }},
                     settings);
    }
    void crashTheMachine() {
        sync.reset();
        store->setFact("boot", boot); // nobody was there to say that it ended
        boot += "+";
        restart();
    }
    fs::path operator/(const std::string& path) const { return home / "pair" / path; }

    // Until nothing is left to do; what was said to be left out.
    std::vector<std::string> settle() {
        for (int round = 0; round < 40; ++round) {
            now += step; // everything has rested
            const auto result = sync->round({});
            if (!result) return {"failed: " + result.failure().text};
            waiting = result->waiting;
            if (!result->isInStep()) continue;
            if (waiting && confirmsAll && confirm(waiting->list)) continue;
            std::vector<std::string> problems;
            for (const auto& problem : result->problems)
                problems.push_back(problem.path + ": " + problem.reason);
            return problems;
        }
        std::vector<std::string> lines = log.take();
        if (lines.size() > 12) lines.erase(lines.begin(), lines.end() - 12);
        lines.emplace_back("does not end");
        return lines;
    }
    // A round for these alone, so much later: "" when a whole one is needed, else what came of it.
    std::string hurry(const std::set<std::string>& paths, std::chrono::milliseconds later) {
        now += later;
        const auto result = sync->roundOf(paths, {});
        if (!result) return result.failure().text;
        if (!*result) return "";
        return std::to_string((*result)->done) + " done" + ((*result)->restless ? ", restless" : "");
    }
    std::map<std::string, std::string> files() const { return contentsOf(home / "pair"); }
    static std::map<std::string, std::string> contentsOf(const fs::path& folder) {
        std::map<std::string, std::string> found;
        for (auto item = fs::recursive_directory_iterator(folder); item != fs::recursive_directory_iterator();
             ++item) {
            const std::string path = item->path().lexically_relative(folder).string();
            if (path.starts_with(".tsyncquenz")) {
                item.disable_recursion_pending();
                continue;
            }
            found[path] = item->is_directory() ? "/" : support::contentOf(item->path());
        }
        return found;
    }

    // The files that wait for a word; "confirm" says it.
    std::size_t waitingFiles() {
        EXPECT_EQ(settle(), std::vector<std::string>{});
        return waiting ? waiting->files.size() : 0;
    }
    bool roundIsRestless() {
        const auto result = sync->round({});
        return result && result->restless;
    }
    bool confirm(const std::string& list) { return sync->confirm(list); }

    const fs::path home;
    support::RecordingLog log;
    std::shared_ptr<const WaitingLosses> waiting; // after the last round
    bool confirmsAll = true;
    std::chrono::steady_clock::time_point now{};
    std::chrono::minutes step{15}; // between two rounds

  private:
    backends::rclone::RemoteControl control;
    backends::rclone::RcloneSpace real;

  public:
    FaultySpace space;

  private:
    FolderTrash trash;
    std::string host;
    std::string boot = "first";
    std::optional<LocalSide> local;
    std::optional<PairStore> store;
    std::optional<PairSync> sync;
};

class PairOnEachStorage : public testing::TestWithParam<const char*> {
  protected:
    // A folder of the test's own in the storage.
    std::string storage() const {
        static int number = 0;
        const std::string name = "test" + std::to_string(++number);
        const std::string base = servers().storage(GetParam());
        return base + (base.ends_with(':') ? "" : "/") + name;
    }
    using Files = std::map<std::string, std::string>;
    support::TemporaryFolder place;
};

TEST_P(PairOnEachStorage, KeepsTwoComputersInStep) {
    const std::string space = storage();
    Computer one(place.path(), space, "one");
    Computer two(place.path(), space, "two");
    const std::vector<std::string> none;
    const auto settleAll = [&] {
        EXPECT_EQ(one.settle(), none);
        EXPECT_EQ(two.settle(), none);
        EXPECT_EQ(one.settle(), none);
    };
    write(one / "a.txt", "one");
    write(one / "d/b.txt", "two");
    fs::create_directories(one / "empty");
    write(two / "a.txt", "one");
    settleAll();
    EXPECT_EQ(two.files(), (Files{{"a.txt", "one"}, {"d", "/"}, {"d/b.txt", "two"}, {"empty", "/"}}));

    // A version of equal size; where times are told by the second it would have to be a second
    // later.
    const std::string changed = std::string(GetParam()) == "disk" ? "ONE" : "longer";
    write(one / "a.txt", changed);
    fs::rename(two / "d", two / "e");
    write(two / "e/new", "");
    fs::remove(one / "empty");
    settleAll();
    EXPECT_EQ(two.files(), (Files{{"a.txt", changed}, {"e", "/"}, {"e/b.txt", "two"}, {"e/new", ""}}));
    EXPECT_EQ(one.files(), two.files());

    // Both change one file: both versions stay, on both computers.
    write(one / "a.txt", "first");
    write(two / "a.txt", "second");
    fs::remove_all(one / "e");
    write(two / "e/late.txt", "something new in what goes");
    settleAll();
    const Files files = one.files();
    EXPECT_EQ(files, two.files());
    EXPECT_EQ(files.at("a.txt"), "first");
    EXPECT_EQ(files.at("a (conflict two 2026-11-25 140000 1f6a).txt"), "second");
    EXPECT_EQ(files.at("e/late.txt"), "something new in what goes");
    EXPECT_FALSE(files.contains("e/b.txt"));
    const Files thrown = Computer::contentsOf(two.home / "trash");
    EXPECT_TRUE(
        std::any_of(thrown.begin(), thrown.end(), [](const auto& item) { return item.second == "two"; }));
}

TEST_P(PairOnEachStorage, BringsASavedFileUpAlone) {
    using namespace std::chrono_literals;
    Computer one(place.path(), storage(), "one");
    write(one / "d/a.txt", "one");
    write(one / "d/gone", "one");
    EXPECT_EQ(one.settle(), std::vector<std::string>{});
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
    const std::string space = storage();
    Computer one(place.path(), space, "one");
    Computer two(place.path(), space, "two");
    const std::vector<std::string> none;
    const std::string odd = "[an] odd*, na{m}e? \\ \u00e4";
    const auto writeMany = [&](Computer& who, const std::string& word) {
        for (int i = 0; i < 12; ++i) {
            const std::string name = word + std::to_string(i);
            write(who / (odd + "/" + (i % 2 == 0 ? "deeper/" : "") + name), word + name);
            write(who / name, name); // beside others, in a folder that is there
        }
        fs::create_directories(who / (odd + "/" + word));
    };
    writeMany(one, "first");
    EXPECT_EQ(one.settle(), none);
    EXPECT_EQ(two.settle(), none);
    EXPECT_EQ(one.files(), two.files());
    writeMany(two, "second"); // into folders that exist, on both sides
    write(two / "new/with a link", "text");
    EXPECT_EQ(two.settle(), none);
    EXPECT_EQ(one.settle(), none);
    EXPECT_EQ(one.files(), two.files());
    EXPECT_EQ(one.files().size(), 54U);
    // A name that somebody took meanwhile is left to him, and nothing of a batch that fails is left behind.
    writeMany(one, "third");
    writeMany(two, "third");
    write(two / "third3", "another");
    EXPECT_EQ(two.settle(), none);
    EXPECT_EQ(one.settle(), none);
    EXPECT_EQ(two.settle(), none);
    EXPECT_EQ(one.files(), two.files());
    EXPECT_EQ(one.files().at("third3"), "another");
}

// Somebody else takes the name between the look that found it free and the move.
TEST_P(PairOnEachStorage, TakesNoNameThatSomebodyTookMeanwhile) {
    const std::string space = storage();
    Computer one(place.path(), space, "one");
    Computer two(place.path(), space, "two");
    const auto settleAll = [&] {
        for (Computer* who : {&one, &two, &one, &two})
            EXPECT_EQ(who->settle(), std::vector<std::string>{});
        EXPECT_EQ(one.files(), two.files());
    };
    const auto writeMany = [&one](const std::string& prefix) {
        for (int i = 0; i < 12; ++i)
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
        for (const auto& [name, content] : one.files())
            contents.insert(content);
        EXPECT_TRUE(contents.contains(std::string("of somebody, ") + path));
        EXPECT_TRUE(contents.contains(std::string("mine, ") + path));
    }
}

TEST_P(PairOnEachStorage, AgreesAfterAnythingAndLosesNothing) {
    const std::string space = storage();
    std::mt19937 random(7);
    const auto below = [&random](std::size_t most) { return static_cast<std::size_t>(random() % most); };
    Computer one(place.path(), space, "one");
    Computer two(place.path(), space, "two");
    std::set<std::string> saved;
    int number = 0;
    for (int round = 0; round < 6; ++round) {
        for (int edit = 0; edit < 12; ++edit) {
            Computer& who = below(2) == 0 ? one : two;
            std::vector<std::string> items;
            for (const auto& [path, content] : who.files())
                items.push_back(path);
            const std::string item = items.empty() ? "" : items[below(items.size())];
            std::string name(1, static_cast<char>('a' + below(5)));
            if (!item.empty() && fs::is_directory(who / item) && below(2) == 0) name = item + "/" + name;
            const std::size_t kind = below(10);
            std::error_code refused;
            if (kind < 4) {
                if (fs::exists(who / name)) continue;
                write(who / name, std::string(static_cast<std::size_t>(++number), 'x'));
            } else if (kind == 4) {
                fs::create_directories(who / name, refused);
            } else if (kind < 7 && !item.empty() && fs::is_regular_file(who / item)) {
                write(who / item, std::string(static_cast<std::size_t>(++number), 'x'));
            } else if (kind == 7 && !item.empty()) {
                fs::remove_all(who / item);
            } else if (!item.empty() && !fs::exists(who / name) && !name.starts_with(item + "/")) {
                fs::rename(who / item, who / name, refused);
            }
        }
        saved.clear();
        for (Computer* who : {&one, &two})
            for (const auto& [path, content] : who->files())
                if (content != "/") saved.insert(content);
        for (int turn = 0; turn < 3; ++turn)
            for (Computer* who : {&one, &two}) {
                if (below(3) == 0) who->restart();
                EXPECT_EQ(who->settle(), std::vector<std::string>{}) << "round " << round;
            }
        ASSERT_EQ(one.files(), two.files()) << "round " << round;
        std::set<std::string> there;
        if (std::string(GetParam()) == "secret") continue; // its trash cannot be read from here
        for (const fs::path& folder : {one.home, two.home, servers().files(GetParam())})
            for (const auto& entry : fs::recursive_directory_iterator(folder))
                if (entry.is_regular_file()) there.insert(support::contentOf(entry.path()));
        for (const std::string& content : saved)
            EXPECT_TRUE(there.contains(content)) << content << " is lost in round " << round;
    }
}

class GuardedPair : public testing::Test {
  protected:
    GuardedPair() {
        for (int i = 0; i < 100; ++i)
            write(one / nameOf(i), "content");
        one.confirmsAll = false;
        EXPECT_EQ(one.settle(), std::vector<std::string>{});
    }
    static std::string nameOf(int number) {
        return (number < 50 ? "low/" : "high/") + std::to_string(number);
    }
    void removeHere(int from, int to) {
        for (int i = from; i < to; ++i)
            fs::remove(one / nameOf(i));
    }
    std::size_t countThere() const {
        const auto files = Computer::contentsOf(there);
        return static_cast<std::size_t>(
            std::count_if(files.begin(), files.end(), [](const auto& file) { return file.second != "/"; }));
    }
    static const fs::path& newSpace() {
        static int number = 0;
        static fs::path folder;
        folder = servers().files("disk") / ("guarded" + std::to_string(++number));
        return folder;
    }
    const fs::path there = newSpace() / "pair";
    support::TemporaryFolder place;
    Computer one{place.path(), "disk:" + there.parent_path().filename().string(), "one"};
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
        write(one / nameOf(i), "content");
    EXPECT_EQ(one.waitingFiles(), 0U);
}

TEST_F(GuardedPair, AsksBeforeMuchIsTakenFromHere) {
    fs::remove_all(there / "low");
    fs::create_directories(there / "low");
    EXPECT_EQ(one.waitingFiles(), 50U);
    EXPECT_EQ(one.files().size(), 102U);
    for (int i = 0; i < 100; ++i) { // set back to what it was last month, and newer versions
        write(there / nameOf(i), "last month");
        if (i < 90)
            fs::last_write_time(there / nameOf(i), fs::file_time_type::clock::now() - std::chrono::days(30));
    }
    EXPECT_EQ(one.waitingFiles(), 90U);
    EXPECT_EQ(support::contentOf(one / nameOf(3)), "content");
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
        const std::vector<std::string> said = one.settle();
        EXPECT_EQ(!said.empty(), fails) << what;
        EXPECT_EQ(one.files().size(), 102U) << what;
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
        EXPECT_TRUE(one.settle().at(0).starts_with("failed: ")) << mark;
        write(mark, std::string(content.size(), 'x'));
        one.restart();
        EXPECT_TRUE(one.settle().at(0).starts_with("failed: ")) << mark;
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
        for (const auto& [path, content] : one.files())
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
        for (const auto& entry : fs::directory_iterator(one / ".tsyncquenz/kept"))
            write(entry.path(), restarts ? "written late" : "written after it was replaced");
        if (restarts) one.restart();
        EXPECT_EQ(one.waitingFiles(), 0U);
    }
    EXPECT_EQ(contents()["newest"], 1);
    EXPECT_EQ(contents()["written after it was replaced"], 1);
    EXPECT_GE(contents()["written late"], 1);

    write(one / nameOf(2), "");
    one.crashTheMachine();
    EXPECT_EQ(one.waitingFiles(), 0U);
    EXPECT_EQ(support::contentOf(one / nameOf(2)), "content");
    EXPECT_EQ(support::contentOf(there / nameOf(2)), "content");
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
    EXPECT_EQ(support::contentOf(one / nameOf(4)), "content");
    EXPECT_EQ(support::contentOf(one / "low/5 (2)"), "content");
    EXPECT_FALSE(trash::restore(one.space, "pair/" + nameOf(4), {}));
    one.confirmsAll = true;
    fs::remove_all(one / "low");
    EXPECT_EQ(one.settle(), std::vector<std::string>{});
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

INSTANTIATE_TEST_SUITE_P(PairSync, PairOnEachStorage, testing::Values("disk", "sftp", "webdav", "secret"),
                         [](const auto& storage) { return std::string(storage.param); });

} // namespace
} // namespace service
