// The programs from outside: the stand-in daemon and the extension process on a private bus, a real folder,
// and a terminal as the file manager.
#include "platform/json.h"
#include "protocol/names.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Programs.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <regex>

namespace {

namespace fs = std::filesystem;
using platform::Value;
using support::Program;
using support::Result;
using support::run;
using testing::HasSubstr;

class ExtensionProcessTest : public testing::Test {
  protected:
    support::PrivateBus bus;
    support::TemporaryFolder folder;
    const std::string docs = folder.path("Docs");
    const std::string finder = TSYNCFINDER_PROGRAM;

    void SetUp() override {
        folder.write("Docs/small.txt", "small");
        folder.write("Docs/sub/large.bin", std::string(4'000'000, 'x'));
        ::setenv("HOME", folder.path().c_str(), 1);
        ::setenv("LC_ALL", "C.UTF-8", 1);
    }

    std::vector<std::string> daemonArguments(const std::vector<std::string>& more = {}) const {
        std::vector<std::string> arguments{SANDBOX_PROGRAM, "--space", folder.path("space"), "--state",
                                           folder.path("state")};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }

    // What a command of the program says.
    Result tell(const std::string& arguments) const { return run(finder + " " + arguments); }
    // The badge of each item, "item badge", below the synced folder.
    std::vector<std::string> badges() const {
        std::vector<std::string> list;
        const auto value = platform::valueOfJson(tell("badges --json " + docs).output);
        if (value && value->array() != nullptr)
            for (const Value& item : *value->array())
                list.push_back(item.dictionary()->at("path").string()->substr(docs.size()) + " " +
                               *item.dictionary()->at("badge").string());
        return list;
    }
    bool has(const std::string& badge) const { return testing::Value(badges(), testing::Contains(badge)); }
    bool comes(const std::string& badge) const {
        return support::eventually([&] { return has(badge); });
    }
};

TEST_F(ExtensionProcessTest, ShowsARealTransfer) {
    EXPECT_EQ(tell("status").status, 2) << "no extension yet";
    Program slow(daemonArguments({"--throttle", "50K", "--start", docs, "/Docs"}));
    Program extension({finder, "run", "--log-level", "error"});

    const std::vector<std::string> during{" tovik", "/small.txt sync", "/sub upload",
                                          "/sub/large.bin upload"};
    const std::vector<std::string> after{" tovik", "/small.txt sync", "/sub sync", "/sub/large.bin sync"};
    EXPECT_TRUE(support::eventually([&] { return badges() == during; }));
    fs::create_directory_symlink(docs, folder / "link");
    const Program watch(
        {"/bin/sh", "-c",
         "exec " + finder + " badges --watch " + folder.path("link/sub") + " >" + folder.path("linked")});
    EXPECT_THAT(tell("status").output, HasSubstr("\nUnder way:      uploading " + docs + "/sub/large.bin\n"));
    EXPECT_THAT(tell("why " + docs + "/sub").output, HasSubstr("Uploading now: " + docs + "/sub/large.bin"));
    EXPECT_EQ(slow.end(SIGTERM), 0);
    const Program daemon(daemonArguments());
    EXPECT_TRUE(support::eventually([&] { return badges() == after; }));
    EXPECT_TRUE(support::eventually([&] {
        const std::string text = support::contentOf(folder / "linked");
        return text.find("/link/sub/large.bin  ▲") < text.find("/link/sub/large.bin  ✔");
    })) << support::contentOf(folder / "linked");
    EXPECT_EQ(fs::file_size(folder / "space/Docs/sub/large.bin"), 4'000'000U);

    EXPECT_EQ(tell("menu " + docs).output, "TovikDrive  ▸\n    Share by email\n    Stop sync\n");
    EXPECT_EQ(tell("menu --json").output,
              "[{\"enabled\":true,\"image\":\"statusbaricon.png\",\"items\":[],\"key\":\"TSFP\",\"title\":"
              "\"TovikDrive\"}]\n");

    // Notifications, which may be large, are read on a connection that no host waits for.
    EXPECT_THAT(
        run("gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus --method "
            "org.freedesktop.DBus.Debug.Stats.GetConnectionStats " FINDER_SYNC_BUS_NAME)
            .output,
        testing::ContainsRegex("'MatchRules': <uint32 [1-3]>"));

    const Result second = tell("run");
    EXPECT_EQ(second.status, 0);
    EXPECT_THAT(second.output, HasSubstr("already running"));
    EXPECT_EQ(extension.end(SIGTERM), 0);

    // A new extension process is badged again: the daemon posts a refresh when it appears.
    const Program next({finder, "run", "--log-level", "error"});
    EXPECT_TRUE(support::eventually([&] { return badges() == after; }));
}

TEST_F(ExtensionProcessTest, TellsAPersonWhatIsWrong) {
    Program daemon(daemonArguments({"--start", docs, "/Docs"}));
    const Program extension({finder, "run", "--log-level", "error"});
    EXPECT_TRUE(comes("/sub/large.bin sync"));
    folder.write("Docs/bad\xff", "");
    fs::create_directory(folder / "Other");
    const std::string away = "tsyncfinder: The sync service is not running; this is what was known last.\n";
    const auto missing = [](const std::string& path) {
        return "tsyncfinder: cannot access '" + path + "': No such file or directory\n";
    };
    const std::string usage = "\ntsyncfinder: try --help\n";
    const struct {
        std::string arguments;
        int status;
        std::string output;
    } cases[] = {
        {"badges --depth 1", 0,
         docs + "  ◆ Tovik Icon\n├── bad\xff  ✔ Status Sync\n├── small.txt  ✔ Status Sync\n└── sub/…  ✔ "
                "Status Sync\n"},
        {"badges --depth 0 none .", 2, missing("none") + docs + "/…  ◆ Tovik Icon\n"},
        {"badges --json bad*", 0,
         R"([{"badge":"sync","path":")" + docs +
             R"(/bad\u0000ff"}])"
             "\n"},
        {"badges >/dev/full", 2, "tsyncfinder: standard output: No space left on device\n"},
        {"badges --frob", 2, "tsyncfinder: The following argument was not expected: --frob" + usage},
        {"menu none", 2, missing("none")},
        {"why none", 2, missing("none")},
        {"frob --help", 2, "tsyncfinder: there is no command \"frob\"" + usage},
        {"--help >/dev/full", 2, "tsyncfinder: standard output: No space left on device\n"},
        {"invoke 'Copy to Space' --destination /X none", 2, missing("none")},
        {"invoke 'Stop sync' small.txt", 2,
         "tsyncfinder: the menu of this selection has no item \"Stop sync\"\n"},
        {"invoke TSFP-Start-Sync --destination /X .", 2,
         "tsyncfinder: the menu of this selection has no item \"TSFP-Start-Sync\"\n"},
        {"invoke 'No item' .", 2, "tsyncfinder: There is no menu item \"No item\".\n"},
        {"invoke excludeSync: sub", 0, "Asked the sync service to exclude " + docs + "/sub.\n"},
        {"why sub/large.bin", 0,
         docs + "/sub/large.bin: sync\n  Synced folder: " + docs +
             "\n  Nothing at it or below it is under way.\n  Excluded from sync: " + docs +
             "/sub\n  To end that: tsyncfinder invoke includeSync: '" + docs + "/sub'\n"},
        {"status", 0,
         "Extension:      running, version " TSYNCFINDER_VERSION
         "\nSync service:   running\nSynced folders: " +
             docs + "\nUnder way:      nothing\nFile managers:  none shows a folder\n"},
    };
    const std::string inDocs = "cd " + docs + " && " + finder + " ";
    for (const auto& each : cases) {
        const Result result = run("(" + inDocs + each.arguments + ")");
        EXPECT_EQ(result.output, each.output) << each.arguments;
        EXPECT_EQ(result.status, each.status) << each.arguments;
    }
    EXPECT_EQ(run("cd " + folder.path("Docs/sub") + " && LC_ALL=C " + finder + " badges ..").output,
              docs + "  # Tovik Icon\n|-- bad\xff  = Status Sync\n|-- small.txt  = Status Sync\n`-- sub  = "
                     "Status Sync\n    `-- large.bin  = Status Sync\n");
    const std::string onTerminal = "NO_COLOR= TERM=%s script -qec '" + finder + " badges --depth 0 " + docs +
                                   "' /dev/null | grep -c '\033'";
    for (const auto& [terminal, lines] : {std::pair("xterm", "1\n"), std::pair("dumb", "0\n")})
        EXPECT_EQ(run(std::regex_replace(onTerminal, std::regex("%s"), terminal)).output, lines) << terminal;

    daemon.send(SIGSTOP);
    EXPECT_THAT(run(inDocs + "status").output, HasSubstr("Sync service:   does not answer;"));
    EXPECT_THAT(run(inDocs + "badges --depth 0").output,
                testing::StartsWith("tsyncfinder: The sync service does not answer; "));
    daemon.end(SIGKILL);
    EXPECT_EQ(run(inDocs + "badges --depth 0").output, away + docs + "/…  ◆ Tovik Icon\n");
    EXPECT_THAT(run(inDocs + "why .").output, testing::StartsWith(away));
    EXPECT_THAT(run(inDocs + "status").output, HasSubstr("Sync service:   not running;"));
    const Program next(daemonArguments()); // it keeps its pairs, and the extension comes back to it
    EXPECT_TRUE(support::eventually([&] {
        run(std::string(SANDBOX_PROGRAM) + " stop /Docs"); // the message reaches the daemon once it is up
        return testing::Value(badges(), testing::Contains("/small.txt none"));
    }));
}

TEST_F(ExtensionProcessTest, WaitsUntilFilesHaveArrivedOrCannot) {
    EXPECT_EQ(tell("wait " + docs).status, 1) << "no extension";
    Program daemon(daemonArguments({"--throttle", "4M", "--start", docs, "/Docs"}));
    Program extension({finder, "run", "--log-level", "error"});
    EXPECT_TRUE(comes(" tovik"));

    // It ends: also for what was written just before, and above the synced folder.
    std::size_t size = 1'500'000;
    for (const std::string& path : {docs + "/sub", folder.path("")}) {
        folder.write("Docs/sub/large.bin", std::string(++size, 'y'));
        const Result result = tell("wait " + path);
        EXPECT_EQ(result.status, 0) << path << ": " << result.output;
        EXPECT_EQ(fs::file_size(folder / "space/Docs/sub/large.bin"), size);
    }
    const Result outside = tell("wait /usr");
    EXPECT_EQ(outside.status, 1);
    EXPECT_THAT(outside.output, HasSubstr("/usr is not in a synced folder"));

    // It never ends.
    run("dbus-send --session --print-reply --dest=" TSYNC_SERVICE_NAME " " TSYNC_OBJECT_PATH
        " " TSYNC_INTERFACE ".pause");
    folder.write("Docs/later.txt", "later");
    EXPECT_EQ(tell("wait --timeout 0.5 " + docs).status, 2);
    EXPECT_EQ(tell("wait --timeout 0 " + docs).status, 2);

    // It fails.
    Program waiting({"/bin/sh", "-c", "exec " + finder + " wait " + docs + " 2>" + folder.path("said")});
    EXPECT_TRUE(support::eventually([] {
        return run("dbus-send --session --print-reply --dest=org.freedesktop.DBus /org/freedesktop/DBus "
                   "org.freedesktop.DBus.Debug.Stats.GetAllMatchRules | grep " SYNC_PROGRESS_INTERFACE)
                   .status == 0;
    }));
    daemon.end(SIGKILL);
    EXPECT_EQ(waiting.end(0), 1);
    EXPECT_EQ(support::contentOf(folder / "said"), "tsyncfinder: The sync service is not running.\n");
}

TEST_F(ExtensionProcessTest, WatchesWhatComesAndGoesAndIsAnsweredLate) {
    const std::string gate = folder.path("gate");
    ASSERT_EQ(::mkfifo(gate.c_str(), 0600), 0);
    const Program daemon(daemonArguments({"--start", docs, "/Docs"}));
    const Program extension({"/usr/bin/env", "ASAN_OPTIONS=verify_asan_link_order=0",
                             "LD_PRELOAD=" DISK_FAULTS, "HELD_BY=" + gate, finder, "run", "--log-level",
                             "error"});
    EXPECT_TRUE(comes("/sub/large.bin sync"));
    const std::string watches = "exec " + finder + " badges --watch " + docs;
    const Program watch({"/bin/sh", "-c", watches + " >" + folder.path("seen")});
    const Program json({"/bin/sh", "-c", watches + " --json >" + folder.path("seen.json")});
    const auto seen = [&](const std::string& line, const char* file = "seen") {
        return support::eventually(
            [&] { return support::contentOf(folder / file).find(line) != std::string::npos; });
    };
    EXPECT_TRUE(seen("└── sub  ✔ Status Sync\n    └── large.bin  ✔ Status Sync"));
    folder.write("Docs/held", "on a disk that does not answer about it");
    EXPECT_TRUE(seen(docs + "/held  new"));
    const std::fstream answers(gate); // for reading, too: it waits for nobody
    EXPECT_TRUE(seen(docs + "/held  ✔ Status Sync\n"));
    EXPECT_TRUE(support::eventually([&] { return tell("status --json | grep '\"hosts\":2'").status == 0; }));
    // Whether it has arrived when it is seen, the daemon decides.
    fs::rename(folder / "Docs/sub", folder / "Docs/moved");
    EXPECT_TRUE(seen(docs + "/sub  gone\n"));
    EXPECT_TRUE(seen(docs + "/moved/large.bin  new  "));
    folder.write("Docs/moved/later\xff", "later");
    EXPECT_TRUE(seen(docs + "/moved/later\xff  new  "));
    EXPECT_TRUE(seen(R"("change":"new","path":")" + docs + R"(/moved/later\u0000ff"})", "seen.json"));
    EXPECT_EQ(tell("invoke 'Stop sync' " + docs).status, 0);
    EXPECT_TRUE(seen(docs + "/moved/later\xff  no badge\n"));
    EXPECT_THAT(support::contentOf(folder / "seen"), testing::Not(HasSubstr("/sub/large.bin")));
}

TEST_F(ExtensionProcessTest, FollowsTheSettingsAndEndsWithTheSession) {
    ::setenv("XDG_CONFIG_HOME", folder.path("config").c_str(), 1);
    const Program daemon(daemonArguments({"--start", docs, "/Docs"}));
    Program extension({"/bin/sh", "-c", "exec " + finder + " run 2>" + folder.path("log")});
    const fs::path signals = folder / "signals";
    const Program monitor({"/bin/sh", "-c", "exec dbus-monitor member=MenusChanged >" + signals.string()});
    const auto logHolds = [&](const char* text) {
        return run("grep -c '" + std::string(text) + "' " + folder.path("log")).status == 0;
    };
    EXPECT_TRUE(comes("/small.txt sync"));
    EXPECT_EQ(tell("config badges changes").status, 0);
    EXPECT_TRUE(comes("/small.txt none"));
    EXPECT_TRUE(has(" tovik"));
    EXPECT_THAT(tell("why " + docs + "/small.txt").output,
                testing::AllOf(HasSubstr(": none"), HasSubstr("The settings let no badge")));
    EXPECT_EQ(tell("config badges off").status, 0);
    EXPECT_TRUE(comes(" none"));
    EXPECT_THAT(tell("why " + docs).output,
                testing::AllOf(HasSubstr("Badges are switched off"), HasSubstr("Synced folder: " + docs)));
    EXPECT_NE(tell("menu " + docs).output, "");

    const fs::path file = folder / "config/tsyncfinder/settings.json";
    std::ofstream(file) << R"({"badges": true, "menu": fal)"; // a slip of the hand
    EXPECT_TRUE(support::eventually([&] { return logHolds("The former settings hold."); }));
    EXPECT_TRUE(has(" none"));
    EXPECT_FALSE(logHolds(" debug: "));
    EXPECT_TRUE(support::eventually([&] { return fs::file_size(signals) > 0; })) << "the monitor listens";
    std::ofstream(file) << R"({"badges": true, "menu": false, "log-level": "debug"})";
    EXPECT_TRUE(comes(" tovik"));
    EXPECT_EQ(tell("menu " + docs).output,
              "tsyncfinder: The menu is switched off: tsyncfinder config menu on\n");
    EXPECT_TRUE(
        support::eventually([&] { return run("grep member=MenusChanged " + signals.string()).status == 0; }));
    EXPECT_TRUE(logHolds(" debug: ")) << "the badge request that was just answered";
    ::unsetenv("XDG_CONFIG_HOME");
    bus.stop();
    EXPECT_TRUE(extension.endsWithSuccess()) << "a failure would be a reason to start it again";
}

} // namespace
