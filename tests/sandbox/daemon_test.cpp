#include "sandbox/Daemon.h"
#include "tests/sandbox/support.h"
#include "tests/support/Programs.h"

#include <sys/stat.h>

#include <fcntl.h>

namespace sandbox {
namespace {

// Nothing is closed to root: for a while the test is nobody, and the folder's owner.
class AsNobody {
  public:
    explicit AsNobody(const std::string& folder) {
        if (before != 0) return;
        EXPECT_EQ(support::run("chown -R 65534 '" + folder + "'").status, 0);
        EXPECT_EQ(::seteuid(65534), 0);
    }
    ~AsNobody() { EXPECT_EQ(::seteuid(before), 0); }
    AsNobody(const AsNobody&) = delete;
    AsNobody& operator=(const AsNobody&) = delete;

  private:
    const uid_t before = ::geteuid();
};

class DaemonTest : public testing::Test {
  protected:
    // A throttled daemon needs 25 seconds for the file "big", which pass when the test says so.
    Daemon& run(std::uint64_t bytesPerSecond = 0) {
        daemon.emplace(Daemon::Settings{temporary / "space", temporary / "state", {bytesPerSecond, {}}},
                       center, log, clock);
        daemon->start();
        return *daemon;
    }
    void runToRest() {
        run();
        center.until("syncStatusCompleted");
    }
    // After the transfer of that file, and what comes behind it.
    void comesToRest(const std::string& transferred) {
        center.until("syncStatusTransfer " + transferred);
        center.until("syncStatusCompleted");
    }
    // The folder becomes a pair, and that file is what is transferred last.
    void syncDocs(const std::string& transferred) {
        runToRest();
        daemon->startSync(docs(), "/Docs");
        comesToRest(transferred);
    }
    // The same with the file "big" under way.
    void beginSlowly() {
        big();
        run(slow);
        daemon->startSync(docs(), "/Docs");
        center.until("syncStatusTransfer big");
    }
    // A look at the folder finds this file to transfer.
    void look(const std::string& transferred, bool isFlat = true) {
        daemon->localSnapshotChanged(docs(), isFlat);
        comesToRest(transferred);
    }
    static constexpr std::uint64_t slow = 1000;
    // Lets the time pass that a throttled daemon takes for so many bytes.
    void isThrough(std::uint64_t bytes) {
        EXPECT_TRUE(clock.tickWhenAwaited(std::chrono::milliseconds(bytes * 1000 / slow)));
    }
    std::string big() const { return temporary.write("docs/big", std::string(25 * slow, 'x')); }
    fs::path arrived(std::string_view path) const { return temporary / ("space" + std::string(path)); }
    std::string docs() const { return temporary.path("docs"); }

    TemporaryFolder temporary;
    RecordingCenter center;
    support::RecordingLog log;
    support::TestClock clock;
    std::optional<Daemon> daemon;
};

TEST_F(DaemonTest, CopiesAPairFileByFileTellsOfEachAndKnowsItAfterARestart) {
    const std::string first = temporary.write("docs/a.txt", "first");
    temporary.write("docs/sub/b.txt", "second");
    temporary.write("docs/empty", "");
    fs::create_directory(temporary / "docs/hollow");
    fs::create_directory_symlink("/", temporary / "docs/link");
    ASSERT_EQ(mkfifo((temporary / "docs/pipe").c_str(), 0600), 0);
    temporary.write("docs/odd\xff", "no message could name it");
    runToRest();

    EXPECT_TRUE(daemon->startSync(docs() + "/./", "/Space//Docs/"));
    const std::string roots = " {\"localPath\":\"" + docs() + "\",\"remotePath\":\"/Space/Docs\"}";
    EXPECT_EQ(center.until("syncStatusCompleted"),
              (std::vector<std::string>{"TSyncQuenzSyncPathAdded" + roots, "syncStatusCompleted"}));
    EXPECT_EQ(center.until("syncStatusCompleted"),
              (std::vector<std::string>{"syncStatusScanning", "syncStatusDiff", "syncStatusEnqueueing",
                                        "syncStatusTransfer a.txt", "syncStatusTransfer empty",
                                        "syncStatusTransfer b.txt", "syncStatusCompleted"}));
    EXPECT_EQ(*find(center.last.userInfo, "allPathsInSync"),
              platform::Value(platform::Dictionary{{"/Space/Docs", docs()}}));
    EXPECT_EQ(contentOf(arrived("/Space/Docs/a.txt")), "first");
    EXPECT_EQ(contentOf(arrived("/Space/Docs/sub/b.txt")), "second");
    EXPECT_TRUE(fs::is_empty(arrived("/Space/Docs/hollow")));
    EXPECT_EQ(fs::last_write_time(arrived("/Space/Docs/a.txt")), fs::last_write_time(first));
    EXPECT_EQ(std::distance(fs::directory_iterator(arrived("/Space/Docs")), {}), 4);

    daemon.reset();
    temporary.write("docs/a.txt", "longer than before");
    run();
    EXPECT_EQ(center.until("syncStatusCompleted"),
              (std::vector<std::string>{"TSyncQuenzStart {}", "syncStatusStarted", "syncStatusScanning",
                                        "syncStatusDiff", "syncStatusEnqueueing", "syncStatusTransfer a.txt",
                                        "syncStatusCompleted"}));
    EXPECT_EQ(contentOf(arrived("/Space/Docs/a.txt")), "longer than before");
}

TEST_F(DaemonTest, StopsAPairInTheMiddleOfAFileAndLeavesNoHalfOne) {
    beginSlowly();
    EXPECT_TRUE(daemon->stopSync("/Docs"));
    isThrough(slow / 20); // the piece in hand
    EXPECT_EQ(center.until("syncStatusCompleted").front(),
              "TSyncQuenzSyncPathRemoved {\"localPath\":\"" + docs() + "\",\"remotePath\":\"/Docs\"}");
    EXPECT_TRUE(fs::is_empty(arrived("/Docs")));
    EXPECT_TRUE(fs::is_empty(arrived("/.tsyncquenz-sandbox")));
    EXPECT_FALSE(daemon->stopSync("/Docs"));
    EXPECT_TRUE(daemon->allPathsInSync().empty());
}

TEST_F(DaemonTest, DoesNotBelieveAStateThatHoldsItself) {
    temporary.write("state/state.json", R"({"version":1,"pairs":{"/Docs":")" + temporary.path() + "\"}}");
    EXPECT_TRUE(run().allPathsInSync().empty());
}

TEST_F(DaemonTest, TakesNothingForDeletedThatItCannotRead) {
    temporary.write("docs/closed/kept", "1");
    temporary.write("docs/gone", "");
    const AsNobody nobody(temporary.path());
    syncDocs("kept");
    daemon.reset();
    fs::remove(temporary / "docs/gone");
    fs::permissions(temporary / "docs/closed", fs::perms::none);
    run();
    center.until("syncStatusStarted");
    center.until("syncStatusCompleted");
    EXPECT_FALSE(fs::exists(arrived("/Docs/gone")));
    EXPECT_EQ(contentOf(arrived("/Docs/closed/kept")), "1");
    fs::permissions(temporary / "docs/closed", fs::perms::owner_all);
    daemon.reset();
}

TEST_F(DaemonTest, ADeletedFolderLeavesTheRootOfAnotherPairThere) {
    temporary.write("docs/sub/f", "f");
    temporary.write("spaces/g", "g"); // beside "space"
    syncDocs("f");
    EXPECT_TRUE(daemon->startSync(temporary.path("spaces"), "/Docs/sub/Inner"));
    comesToRest("g");
    fs::remove_all(temporary / "docs/sub");
    temporary.write("docs/sub", "a file now");
    daemon->localSnapshotChanged(docs(), true);
    center.until("syncStatusDiff");
    center.until("syncStatusCompleted");
    EXPECT_EQ(contentOf(arrived("/Docs/sub/Inner/g")), "g");

    temporary.write("docs/swap", "a file that becomes a folder");
    look("swap");
    fs::remove(temporary / "docs/swap");
    temporary.write("docs/swap/in", "2");
    look("in");
    EXPECT_EQ(contentOf(arrived("/Docs/swap/in")), "2");
}

// What is half received is seen by nobody: not in the person's folder, nor by the look at a synced one; and
// nothing is left of it, however the process ends.
TEST_F(DaemonTest, DownloadsWholeItemsOrNothing) {
    temporary.write("space/Album/a", "1");
    temporary.write("space/Album/b/big", std::string(25 * slow, 'x'));
    fs::create_directory(temporary / "docs");
    run(slow);
    center.until("syncStatusCompleted");
    EXPECT_TRUE(daemon->startSync(docs(), "/Docs") && daemon->downloadFile("/Album", docs()));
    const std::string note = temporary.path("state/roots/receiving");
    ASSERT_TRUE(support::eventually([&] { return fs::exists(contentOf(note) + "/item"); }));
    EXPECT_FALSE(fs::exists(temporary / "docs/Album"));
    daemon.reset();
    EXPECT_TRUE(fs::is_empty(docs()) && !fs::exists(note));

    // As a killed one leaves it, and one that another process left; and what is no leaving of ours.
    temporary.write("docs/.tsyncquenz-sandbox-incoming-1-1/item/a", "half");
    temporary.write("docs/.tsyncquenz-sandbox-incoming-2-1/item", "half");
    temporary.write("state/roots/receiving", docs() + "/.tsyncquenz-sandbox-incoming-1-1");
    temporary.write("docs/Album", "taken");
    run();
    comesToRest("Album");
    EXPECT_FALSE(fs::exists(temporary / "docs/.tsyncquenz-sandbox-incoming-1-1") || fs::exists(note));
    EXPECT_TRUE(daemon->downloadFile("/Album", docs()));
    ASSERT_TRUE(support::eventually([&] { return fs::exists(temporary / "docs/Album (2)/b/big"); }));
    daemon.reset();
    EXPECT_EQ(contentOf(temporary / "docs/Album (2)/a"), "1");
    temporary.write("state/roots/receiving", docs());
    run();
    look("big", false);
    EXPECT_EQ(contentOf(temporary / "docs/Album"), "taken") << "a note of something else removes nothing";
    const auto itemsIn = [&](const char* folder) {
        return std::distance(fs::directory_iterator(arrived(folder)), {});
    };
    EXPECT_EQ(itemsIn("/Docs"), 2) << "half an item went up";
    temporary.write("docs/.tsyncquenz-sandbox-incoming-3-1", "half");
    temporary.write("docs/new", "n");
    look("new");
    EXPECT_EQ(itemsIn("/Docs"), 3) << "half an item went up by what an event named";
    EXPECT_TRUE(daemon->copyToSpace(docs(), "/Album"));
    comesToRest("new");
    EXPECT_EQ(itemsIn("/Album/docs"), 3) << "half an item was copied";
}

TEST_F(DaemonTest, LeavesOutWhatIsExcludedUntilItIsIncluded) {
    big();
    temporary.write("docs/tmp/t", "t");
    run(slow);
    daemon->excludePath("/Docs/tmp");
    daemon->startSync(docs(), "/Docs");
    center.until("syncStatusTransfer big");
    EXPECT_TRUE(daemon->excludePath("/Docs/big"));
    isThrough(slow / 20); // the piece in hand
    center.until("syncStatusCompleted");
    EXPECT_TRUE(fs::is_empty(arrived("/Docs")));
    EXPECT_TRUE(daemon->includePath("/Docs/tmp"));
    EXPECT_FALSE(daemon->includePath("/Docs/tmp"));
    center.until("syncStatusTransfer t");
    isThrough(1);
    center.until("syncStatusCompleted");
    EXPECT_EQ(contentOf(arrived("/Docs/tmp/t")), "t");
    EXPECT_FALSE(fs::exists(arrived("/Docs/big")));
}

TEST_F(DaemonTest, PausesInTheMiddleOfAFileAndAlsoOverARestart) {
    beginSlowly();
    daemon->setPaused(true);
    EXPECT_EQ(*find(daemon->syncStatus(), "status"), platform::Value("syncStatusTransfer"));
    daemon.reset();
    EXPECT_TRUE(sync_daemon::loadState(temporary / "state/state.json", log).paused);
    run();
    center.until("syncStatusStarted");
    EXPECT_FALSE(fs::exists(arrived("/Docs/big")));
    daemon->setPaused(false);
    EXPECT_EQ(center.until("syncStatusTransfer big").front(), "syncStatusScanning");
    center.until("syncStatusCompleted");
    EXPECT_EQ(fs::file_size(arrived("/Docs/big")), 25 * slow);
}

// Editors save by giving a new file the old one's name; other programs take their time to write.
TEST_F(DaemonTest, AMoveTakesNothingAwayThatWasNotCopied) {
    const std::string file = temporary.write("docs/letter", "as it was");
    const TransferControl whileSaved{
        1, [](std::uint64_t) { return true; },
        [&](std::uint64_t) { fs::rename(temporary.write("docs/new", "as it is!"), file); }};
    FileTransfer move{file, temporary / "incoming", temporary / "arrived"};
    move.removesSource = true;
    EXPECT_EQ(transferFile(move, whileSaved, log), TransferResult::stored);
    EXPECT_EQ(contentOf(file), "as it is!");

    const TransferControl whileOpened{1, [](std::uint64_t) { return true; },
                                      [&](std::uint64_t) { ::open(file.c_str(), O_WRONLY | O_NONBLOCK); }};
    EXPECT_EQ(transferFile(move, whileOpened, log), TransferResult::stopped) << "somebody waits to write";

    std::ofstream writer(file, std::ios::app);
    EXPECT_EQ(transferFile(move, {64, [](std::uint64_t) { return true; }, [](std::uint64_t) {}}, log),
              TransferResult::stopped);
    EXPECT_EQ(contentOf(file), "as it is!");

    const std::string one = temporary.write("docs/album/one", "1");
    const std::string link = temporary.path("docs/album/link");
    fs::create_symlink("one", link);
    runToRest();
    EXPECT_FALSE(daemon->moveToSpace(link, "/"));
    EXPECT_TRUE(daemon->moveToSpace(docs() + "/album", "/"));
    center.until("syncStatusCompleted");
    EXPECT_EQ(contentOf(arrived("/album/one")), "1");
    EXPECT_FALSE(fs::exists(one));
    EXPECT_TRUE(fs::is_symlink(link)) << "what did not arrive stays";
}

TEST_F(DaemonTest, ReplacesNothingInTheSpaceForGoodThatDidNotComeFromThere) {
    const std::string file = temporary.write("docs/a.txt", "here");
    temporary.write("space/Docs/a.txt", "from elsewhere");
    temporary.write("state/cache/Docs/a.txt", "an older copy");
    fs::last_write_time(temporary / "state/cache/Docs/a.txt",
                        fs::file_time_type::clock::now() - std::chrono::hours(2));
    fs::last_write_time(arrived("/Docs/a.txt"), fs::file_time_type::clock::now() - std::chrono::hours(1));
    syncDocs("a.txt");
    EXPECT_EQ(contentOf(arrived("/Docs/a.txt")), "here");
    EXPECT_EQ(contentOf(arrived("/.tsyncquenz-sandbox/trash/1/Docs/a.txt")), "from elsewhere");

    daemon.reset();
    runToRest();
    EXPECT_EQ(contentOf(arrived("/Docs/a.txt")), "here") << "the cached copy is older";

    temporary.write("space/Link/a.txt", "of the space");
    fs::create_directory_symlink(docs(), temporary / "state/cache/Link");
    temporary.write("space/Link/sub/b.txt", "of the space");
    temporary.write("state/cache/Docs/a.txt", "changed here");
    fs::last_write_time(temporary / "state/cache/Docs/a.txt",
                        fs::last_write_time(file) + std::chrono::hours(1));
    EXPECT_TRUE(daemon->cacheFile("/Link/a.txt") && daemon->cacheFile("/Link/sub/b.txt"));
    EXPECT_TRUE(daemon->cacheFile("/Docs/a.txt") && daemon->copyToSpace(file, "/Inbox"));
    center.until("syncStatusTransfer a.txt");
    EXPECT_EQ(contentOf(file), "here") << "nothing leaves the cache folder through a link";
    EXPECT_FALSE(fs::exists(temporary / "docs/sub"));
    EXPECT_EQ(contentOf(temporary / "state/cache/Docs/a.txt"), "changed here") << "not yet in the space";
}

} // namespace
} // namespace sandbox
