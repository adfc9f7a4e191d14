// What a storage, another computer and a person do to a pair in the middle of its work.
#include "tests/service/Computer.h"
#include "tests/service/TrickySpace.h"

#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>

#include <cerrno>
#include <limits>
#include <unistd.h>

namespace {

// So many renames here succeed; then none does, but the next one may happen all the same.
int renamesLeft = std::numeric_limits<int>::max();
int renameError = EIO;
bool lastHappens = false;
std::function<void()> afterRename; // each that succeeds
bool knowsFlags = true;            // of a rename: NFS and most of FUSE know none
bool knowsLinks = true;            // a file's second name

} // namespace

extern "C" int linkat(int from, const char* name, int to, const char* newName, int flags) noexcept {
    if (!knowsLinks) return errno = EPERM, -1;
    return static_cast<int>(::syscall(SYS_linkat, from, name, to, newName, flags));
}

extern "C" int renameat2(int from, const char* name, int to, const char* newName, unsigned flags) noexcept {
    if (!knowsFlags && flags != 0) return errno = EINVAL, -1;
    const bool isLast = renamesLeft == 0;
    if (isLast && !std::exchange(lastHappens, false)) return errno = renameError, -1;
    const long done = ::syscall(SYS_renameat2, from, name, to, newName, flags);
    if (isLast) return errno = renameError, -1;
    --renamesLeft;
    if (done == 0 && afterRename) afterRename();
    return static_cast<int>(done);
}

namespace service {
namespace {

using support::contentOf;

class PairCases : public testing::Test {
  protected:
    void settleAll() {
        for (Computer* who : {&one, &two, &one})
            EXPECT_EQ(who->settle(), "");
    }
    // Once, at the next operation of that name on a path that holds the word.
    void onceBefore(const std::string& operation, const std::string& word,
                    std::function<std::optional<Failure>()> act) {
        space.before = [this, operation, word, act = std::move(act)](
                           const std::string& now, const std::string& path) -> std::optional<Failure> {
            if (now != operation || path.find(word) == std::string::npos) return std::nullopt;
            const auto once = act; // the hook itself goes
            space.before = [](const auto&, const auto&) { return std::nullopt; };
            return once();
        };
    }
    // From so many operations of the space on none answers any more, then the service is killed and starts
    // anew. False: it had been done before.
    bool cutOff(Computer& who, int operations) {
        bool isCut = false;
        space.before = [&](const auto&, const auto&) -> std::optional<Failure> {
            if (operations-- > 0) return std::nullopt;
            isCut = true;
            return Failure{Trouble::unreachable, "cut off"};
        };
        who.settle();
        space.before = [](const auto&, const auto&) { return std::nullopt; };
        who.restart();
        return isCut;
    }
    // Private names that would be in anybody's way.
    static bool hasLeftovers(const Computer& who) {
        const fs::directory_iterator all(who / "");
        return std::any_of(begin(all), end(all), [](const fs::directory_entry& entry) {
            return entry.path().filename().string().starts_with(".tsyncquenz-");
        });
    }
    bool isThere(const std::string& content) const {
        return std::any_of(space.items.begin(), space.items.end(),
                           [&](const auto& item) { return item.second.content == content; });
    }

    support::TemporaryFolder place;
    TrickySpace space;
    Computer one{place.path(), space, "one"};
    Computer two{place.path(), space, "two"};
};

// The service is killed at each step in turn, when it moves there and when it moves here.
TEST_F(PairCases, ARingOfNamesIsMovedAndNotSentAlsoWhenItWasCutOff) {
    Files files{{"a", "1"}, {"b", "22"}, {"c", "333"}, {"d/x", "4444"}, {"e/x", "55555"}};
    for (const auto& [path, content] : files)
        write(one / path, content);
    settleAll();
    const auto rename = [&](std::initializer_list<std::pair<const char*, const char*>> moves) {
        for (const auto& [from, to] : moves)
            fs::rename(one / from, one / to);
    };
    const auto turn = [&] {
        rename({{"a", "t"}, {"c", "a"}, {"b", "c"}, {"t", "b"}, {"d", "t"}, {"e", "d"}, {"t", "e"}});
        files = {{"a", files["c"]},
                 {"b", files["a"]},
                 {"c", files["b"]},
                 {"d/x", files["e/x"]},
                 {"e/x", files["d/x"]}};
        space.asked.clear();
    };
    const auto check = [&](const std::string& where) {
        settleAll();
        settleAll();
        EXPECT_EQ(one.files(), files) << where;
        EXPECT_EQ(two.files(), files) << where;
        EXPECT_EQ(space.asked["bringUp"], 0) << where;
        EXPECT_FALSE(hasLeftovers(one) || hasLeftovers(two)) << where;
        for (const auto& [key, item] : space.items)
            EXPECT_EQ(key.find("moving"), std::string::npos) << where << key;
    };
    bool isCut = true;
    for (int steps = 0; isCut && !HasFailure(); ++steps) {
        turn();
        isCut = cutOff(one, steps);
        check("there, after " + std::to_string(steps));
    }
    space.tellsIds = isCut = true; // else two names swapped are two edits
    settleAll();
    for (int steps = 0; isCut && !HasFailure(); ++steps) {
        turn();
        EXPECT_EQ(one.settle(), "");
        lastHappens = steps % 2 == 1;
        renamesLeft = steps / 2;
        two.settle();
        isCut = std::exchange(renamesLeft, std::numeric_limits<int>::max()) == 0;
        two.restart();
        check("here, after " + std::to_string(steps));
    }
    // Each folder is the other one now, and has the items that it had.
    rename({{"d", "t"}, {"e", "d"}, {"t", "e"}, {"d/x", "t"}, {"e/x", "d/x"}, {"t", "e/x"}});
    settleAll();
    EXPECT_EQ(one.files(), files);
    EXPECT_EQ(two.files(), files);
}

TEST_F(PairCases, ABatchThatWasCutOffIsTakenUp) {
    Files files;
    bool isCut = true;
    for (int steps = 0; isCut && !HasFailure(); ++steps) {
        SCOPED_TRACE(steps);
        space.items.clear();
        for (Computer* who : {&one, &two})
            who->beginAnew();
        for (int i = 0; i < 16; ++i) {
            const std::string name = (i % 2 == 0 ? "new/" : "new-") + std::to_string(i);
            write(one / name, files[name] = "content of " + name);
        }
        isCut = cutOff(one, steps);
        EXPECT_EQ(one.settle(), "");
        isCut = cutOff(two, steps) || isCut;
        settleAll();
        EXPECT_EQ(one.files(), files);
        EXPECT_EQ(two.files(), files);
    }
}

TEST_F(PairCases, WhatIsLeftOutGoesAlongWithItsFolder) {
    for (const char* path : {"here/x", "here/deep/x", "there/x", "there/deep/x", "stays"})
        write(one / path, "x");
    settleAll();
    write(two / "here/deep/.DS_Store", "scratch");
    space.put("pair/there/deep/.DS_Store", "scratch");
    fs::remove_all(one / "here");
    fs::remove_all(one / "there");
    settleAll();
    EXPECT_EQ(two.tree(), (Files{{"stays", "x"}}));
    EXPECT_TRUE(two.has("scratch"));
    for (const auto& [key, item] : space.items)
        EXPECT_FALSE(key.starts_with("pair/there") || key.starts_with("pair/here")) << key;
    EXPECT_TRUE(isThere("scratch"));
}

// New items are in step when they have come; what replaced something is looked at once more.
TEST_F(PairCases, ARoundWithNewItemsAloneIsTheLast) {
    for (int i = 0; i < 20; ++i)
        write(one / ("d/" + std::to_string(i)), "x");
    one.roundIsRestless();
    one.now += one.step;
    space.asked.clear();
    EXPECT_TRUE(one.roundIsInStep());
    EXPECT_EQ(space.asked["list"], 5); // the pair, two of what arrived, its place and what is left
    write(one / "d/1", "another");
    one.roundIsRestless();
    one.now += one.step;
    EXPECT_FALSE(one.roundIsInStep());
    EXPECT_TRUE(one.roundIsInStep());
}

// A week, or what the settings say, after it was seen last.
TEST_F(PairCases, WhatNobodyMissesIsRemoved) {
    const char* const leftovers[] = {".tsyncquenz-in-1234", "d/.tsyncquenz-in-5678", ".tsyncquenz/in-12-1/0",
                                     ".tsyncquenz/kept/1000000000-1-a"};
    settleAll();
    for (const char* path : leftovers)
        write(one / path, "left");
    for (const auto& [days, left] : {std::pair(6, 4), {2, 1}, {92, 0}}) {
        one.now += std::chrono::days(days);
        one.restart();
        EXPECT_EQ(one.settle(), "");
        EXPECT_EQ(std::count_if(std::begin(leftovers), std::end(leftovers),
                                [this](const char* path) { return fs::exists(one / path); }),
                  left)
            << days;
    }
    EXPECT_TRUE(fs::exists(one / ".tsyncquenz/root"));
}

TEST_F(PairCases, NamesThatTheStorageWritesInItsOwnWay) {
    space.foldsCase = space.decomposes = true;
    write(one / "Caf\u00e9/Readme", "1");
    settleAll();
    EXPECT_EQ(two.files().size(), 1U);
    fs::rename(one / "Caf\u00e9/Readme", one / "Caf\u00e9/README");
    space.asked.clear();
    settleAll();
    settleAll();
    EXPECT_EQ(space.asked["bringUp"] + space.asked["bringDown"], 0); // nothing is deleted and made anew
    EXPECT_EQ(one.files(), (Files{{"Caf\u00e9/README", "1"}}));
    ASSERT_EQ(two.files().size(), 1U);
    EXPECT_TRUE(two.files().begin()->first.ends_with("/README"));

    write(one / "Gone/UPPER", "2");
    settleAll();
    fs::remove_all(one / "Gone");
    settleAll();
    EXPECT_EQ(two.tree().size(), 2U);

    // Two that are one there, and two that are one after a translation: said, and none is taken for the
    // other.
    write(two / "Caf\u00e9/reADme", "2");
    write(one / "a\nb", "newline");
    write(one / "a\u240ab", "its sign");
    EXPECT_NE(one.settle(), "");
    EXPECT_NE(two.settle(), "");
    EXPECT_TRUE(one.has("newline") && one.has("its sign") && one.has("1") && two.has("2") && two.has("1"));
    EXPECT_FALSE(isThere("newline") || isThere("its sign"));
}

// Both come here, and the file stays its owner's, with all that he gave it.
TEST_F(PairCases, TwoEditsThereInOneSecondAreBothSeen) {
    write(one / "a", "1111");
    const std::string file = one / "a";
    const bool isGiven = ::chown(file.c_str(), 2, 3) == 0; // not by everybody
    ::chmod(file.c_str(), 04640);
    for (const auto& [name, size] : {std::pair("user.empty", 0), {"user.note", 4}})
        ASSERT_EQ(::setxattr(file.c_str(), name, "kept", static_cast<std::size_t>(size), 0), 0);
    settleAll();
    space.put("pair/a", "2222");
    EXPECT_TRUE(one.roundIsRestless());
    space.now -= 1'000'000'000; // again at the same time, of the same size
    space.put("pair/a", "3333");
    settleAll();
    EXPECT_EQ(one.files(), (Files{{"a", "3333"}}));
    EXPECT_EQ(two.files(), one.files());
    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
    EXPECT_EQ(status.st_uid == 2 && status.st_gid == 3, isGiven);
    EXPECT_EQ(::getxattr(file.c_str(), "user.empty", nullptr, 0), 0);
    EXPECT_EQ(::getxattr(file.c_str(), "user.note", nullptr, 0), 4);
}

TEST_F(PairCases, AStorageThatTellsADigestOfItsOwnIsNotRead) {
    space.tellsDigests = true;
    std::set<std::string> read;
    space.before = [&read](const std::string& operation, const std::string& path) {
        if (operation == "bringDown") read.insert(path.substr(path.rfind('/') + 1));
        return std::optional<Failure>();
    };
    for (Computer* who : {&one, &two})
        for (const char* path : {"a", "d/b"})
            write(*who / path, path);
    write(two / "c", "one");
    write(one / "c", "two");
    settleAll();
    EXPECT_EQ(one.files().at("c (conflict two 2026-11-25 140000 e106)"), "one");
    EXPECT_TRUE(read.contains("c"));
    EXPECT_FALSE(read.contains("a") || read.contains("b"));
    EXPECT_TRUE(LocalSide::knowsDigest("md5"));
    EXPECT_FALSE(LocalSide::knowsDigest("quickxor")) << "a cloud's own";

    one.step = two.step = std::chrono::seconds(3); // less than a deletion rests
    fs::rename(one / "a", one / "moved");
    fs::rename(one / "d", one / "e");
    space.asked.clear();
    settleAll();
    EXPECT_EQ(two.files(), one.files());
    EXPECT_EQ(two.files().at("moved") + two.files().at("e/b"), "ad/b");
    EXPECT_EQ(space.asked["bringDown"] + space.asked["bringUp"], 0);

    space.items["pair/moved"].content = "b"; // of one size, in the same second
    settleAll();
    EXPECT_EQ(one.files().at("moved"), "b");
}

TEST_F(PairCases, MuchThatWouldBeReadToBeComparedWaitsForAWord) {
    std::vector<Name> names{{"a", {}, {}}, {"b", {}, {}}};
    for (Name& name : names)
        for (Seen& seen : name.seen) {
            seen.shape = Shape::file;
            seen.size = std::uint64_t{600} << 20U;
        }
    const std::vector<Operation> lessons = plan(names);
    ASSERT_EQ(lessons.size(), 4U);
    PairStore store(place.path("state.db"));
    LossGuard guard(store);
    const std::chrono::sys_seconds now{};
    EXPECT_EQ(guard.allowed(lessons, names, now).size(), 0U) << "what is here is not read for nothing either";
    ASSERT_TRUE(guard.waiting());
    EXPECT_EQ(guard.waiting()->files,
              (std::vector<WaitingLosses::File>{{Side::there, "a", false, 629145600},
                                                {Side::there, "b", false, 629145600}}));
    EXPECT_TRUE(guard.confirm(guard.waiting()->list, now));
    EXPECT_EQ(guard.allowed(lessons, names, now), lessons);
    names[0].seen[1].isDigestTold = true;
    store.takeBack({"there read a", "there read b"});
    EXPECT_EQ(guard.allowed(lessons, names, now), lessons);
}

// What comes in between at each step of a replacement, here, there and by the other computer.
TEST_F(PairCases, WhatComesInBetweenIsKept) {
    struct Case {
        const char* operation;
        const char* path;
        std::function<void()> act;
    };
    const Case cases[] = {
        {"bringUp", "tsyncquenz", [this] { write(one / "a", "written while it goes up"); }},
        {"look", "tsyncquenz/up", [this] { write(one / "a", "written after it went up"); }},
        {"moveFile", "pair/a",
         [this] {
             two.settle(); // replaces the same file, whole; and that does not come back at once
             onceBefore("moveFile", "tsyncquenz/trash", [] {
                 return Failure{Trouble::unreachable, "cut off"};
             });
         }},
        {"look", "tsyncquenz/trash", [this] { space.put("pair/a", "put into the free name"); }},
        {"moveFile", "tsyncquenz/up", [this] { write(one / "a", "written before it is placed"); }},
    };
    int number = 0;
    for (const Case& now : cases) {
        SCOPED_TRACE(std::string(now.operation) + " " + now.path);
        const std::string agreed = "agreed" + std::to_string(++number);
        write(one / "a", agreed);
        settleAll();
        const std::string first = "of one" + std::to_string(number);
        const std::string second = "of two, longer" + std::to_string(number);
        write(one / "a", first);
        if (std::string(now.operation) == "moveFile" && std::string(now.path) == "pair/a")
            write(two / "a", second);
        bool happened = false;
        onceBefore(now.operation, now.path, [&] {
            now.act();
            happened = true;
            return std::nullopt;
        });
        settleAll();
        settleAll();
        EXPECT_TRUE(happened);
        EXPECT_EQ(one.files(), two.files());
        const bool isOverwritten = number == 1 || number == 2 || number == 5; // by the person
        if (!isOverwritten) {
            EXPECT_TRUE(one.has(first) && two.has(first));
        } else {
            EXPECT_TRUE(contentOf(two / "a").starts_with("written"));
        }
        EXPECT_EQ(number == 3, one.has(second) && two.has(second));
        EXPECT_EQ(number == 4, one.has("put into the free name"));
    }
    // The last step is cut off, and what somebody put there looks like what was on its way.
    write(one / "a", "of one, now");
    onceBefore("moveFile", "tsyncquenz/up", [this] {
        space.now -= 1'000'000'000;
        space.put("pair/a", "of another!");
        return Failure{Trouble::unreachable, "cut off"};
    });
    settleAll();
    settleAll();
    EXPECT_EQ(one.files(), two.files());
    EXPECT_TRUE(one.has("of one, now") && two.has("of one, now") && one.has("of another!"));
    // The other way: edited here between the plan and the arrival of the other's version.
    write(one / "a", "theirs");
    EXPECT_EQ(one.settle(), "");
    onceBefore("bringDown", "pair/a", [this] {
        write(two / "a", "mine, meanwhile");
        return std::nullopt;
    });
    EXPECT_EQ(two.settle(), "");
    settleAll();
    EXPECT_EQ(one.files(), two.files());
    EXPECT_TRUE(one.has("theirs") && one.has("mine, meanwhile"));
    // As soon as it has its name: what replaces a version, and what is new.
    for (const char* name : {"a", "new"}) {
        write(one / name, "theirs, once more");
        EXPECT_EQ(one.settle(), "");
        afterRename = [this, name] {
            if (contentOf(two / name) == "theirs, once more") write(two / name, "mine, at once");
        };
        settleAll();
        settleAll();
        afterRename = nullptr;
        EXPECT_EQ(contentOf(one / name), "mine, at once");
    }
    write(one / "a", "theirs, again");
    EXPECT_EQ(one.settle(), "");
    onceBefore("bringDown", "pair/a", [this] {
        space.put("pair/a", "theirs, while it comes");
        return std::nullopt;
    });
    settleAll();
    settleAll();
    EXPECT_EQ(contentOf(two / "a"), "theirs, while it comes");
    EXPECT_FALSE(hasLeftovers(one) || hasLeftovers(two));
}

TEST_F(PairCases, AFileSystemThatKnowsNoFlagsOfARenameHoldsAPairAllTheSame) {
    knowsFlags = false;
    for (const char* folder : {"linked", "not linked"}) {
        knowsLinks = folder == std::string("linked");
        const std::string in = std::string(folder) + "/";
        for (int i = 0; i < 10; ++i)
            write(one / (in + "many/" + std::to_string(i)), folder);
        write(one / (in + "a"), "old");
        settleAll();
        EXPECT_EQ(two.files().size(), one.files().size());
        write(one / (in + "a"), "newer");
        fs::rename(one / (in + "many"), one / (in + "moved"));
        write(one / (in + "new"), "theirs");
        EXPECT_EQ(one.settle(), "");
        onceBefore("bringDown", "/new", [&] {
            write(two / (in + "new"), "mine");
            return std::nullopt;
        });
        settleAll();
        settleAll();
        EXPECT_EQ(two.tree(), one.tree());
        EXPECT_EQ(contentOf(two / (in + "a")), "newer");
        EXPECT_EQ(contentOf(two / (in + "moved/9")), folder);
        EXPECT_TRUE(two.has("old") && one.has("theirs") && one.has("mine"));
        EXPECT_FALSE(hasLeftovers(two)) << folder;
        EXPECT_TRUE(fs::exists(two / ".tsyncquenz/kept")) << "what was replaced";
    }
    knowsFlags = knowsLinks = true;

    // A kill while the old version was out of its place; once before the new one had it, once after.
    for (const char* now : {"", "the newest"}) {
        fs::rename(two / "linked/a", two / "linked/.tsyncquenz-in-1-old");
        write(two / ".tsyncquenz/aside", std::string("linked/.tsyncquenz-in-1-old\0linked/a", 36));
        if (*now) write(two / "linked/a", now);
        two.restart();
        EXPECT_EQ(contentOf(two / "linked/a"), *now ? now : "newer");
        EXPECT_TRUE(two.has("newer"));
        EXPECT_FALSE(fs::exists(two / ".tsyncquenz/aside") ||
                     fs::exists(two / "linked/.tsyncquenz-in-1-old"));
    }
    settleAll();
    EXPECT_EQ(contentOf(one / "linked/a"), "the newest");
}

TEST_F(PairCases, AFullDiskAndAFullQuotaLeaveTheOldVersionAndNothingHalf) {
    space.free = 10;
    write(one / "a", "the old version");
    settleAll();
    write(one / "a", "the new version");
    write(one / "b", "as large as that");
    const auto noRoom = [](const std::string& where) {
        return "does not end: a has no room " + where + "; b has no room " + where + "; \n";
    };
    const Failure full{Trouble::full, "no room is left"};
    const std::pair<Failure, const char*> failures[] = {
        {full, "there"},
        {Failure{Trouble::other, "it failed"}, "there"}, // all that a server of SFTP says of a full disk
        {Failure{Trouble::fullHere, "this machine has no room left for it"}, "here"},
    };
    for (const auto& [failure, where] : failures) {
        space.before = [&said = failure](const std::string& now, const std::string&) {
            return now == "bringUp" ? std::optional(said) : std::nullopt;
        };
        space.asked.clear();
        const std::string said = one.settle(); // it goes on trying
        EXPECT_TRUE(said.starts_with(noRoom(where))) << said;
        EXPECT_LE(space.asked["bringUp"], failure.trouble == Trouble::fullHere ? 80 : 40) << "once a round";
    }
    EXPECT_EQ(space.items.at("pair/a").content, "the old version");
    EXPECT_FALSE(isThere("the new")); // the half
    space.before = [&](const std::string& now, const std::string&) {
        return now == "bringDown" ? std::optional(full) : std::nullopt;
    };
    EXPECT_EQ(one.settle(), "");
    EXPECT_TRUE(two.settle().starts_with(noRoom("here")));
    space.before = [](const auto&, const auto&) { return std::nullopt; };
    renamesLeft = 0;
    renameError = ENOSPC;
    EXPECT_TRUE(two.settle().starts_with(noRoom("here")));
    EXPECT_EQ(two.files(), (Files{{"a", "the old version"}}));
    renamesLeft = std::numeric_limits<int>::max();
    renameError = EIO;
    settleAll();
    EXPECT_EQ(two.files(), (Files{{"a", "the new version"}, {"b", "as large as that"}}));

    // What is large is not sent to find that out.
    write(one / "large", std::string(std::size_t{16} << 20U, 'x'));
    space.asked.clear();
    EXPECT_TRUE(one.settle().starts_with("does not end: large has no room there"));
    EXPECT_EQ(space.asked["bringUp"], 0);
    space.free = std::uint64_t{1} << 30U;
    EXPECT_EQ(one.settle(), "");
    EXPECT_EQ(space.asked["bringUp"], 1);

    // Where everything fails a round comes to an end.
    for (const char* version : {"1", "22"}) {
        for (int i = 0; i < 60; ++i)
            write(one / std::to_string(i), version);
        space.asked.clear();
        EXPECT_EQ(*version == '1' ? one.settle() : "", "");
    }
    space.before = [](const std::string& now, const std::string&) {
        return now == "bringUp" ? std::optional(Failure{Trouble::refused, "no"}) : std::nullopt;
    };
    for (int round = 0; round < 2; ++round) { // the first one lets them rest
        one.now += one.step;
        one.roundIsRestless();
    }
    EXPECT_EQ(space.asked["bringUp"], 50);
}

} // namespace
} // namespace service
