// The commands from outside: the stand-in daemon and the extension process on a private bus, a terminal that
// chooses menu items, and a program of the test's in the place of the panel program.
#include "platform/json.h"
#include "tests/support/CommandRecorder.h"
#include "tests/support/Desktop.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Programs.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <regex>

namespace {

namespace fs = std::filesystem;
using support::contentOf;
using support::Desktop;
using support::Program;
using support::Result;
using support::run;
using testing::ElementsAre;
using testing::HasSubstr;

using Texts = std::vector<std::string>;

class CommandsTest : public testing::Test {
  protected:
    support::PrivateBus bus;
    support::TemporaryFolder folder;
    std::unique_ptr<Program> daemon, extension;
    std::size_t readOfLog = 0;

    void SetUp() override {
        ::setenv("HOME", folder.path().c_str(), 1);
        for (const char* item : {"Docs/sub", "Music", "Photos", "space/Archive"})
            fs::create_directories(folder / item);
        fs::create_directory_symlink(folder / "Docs/sub", folder / "Docs/link");
        for (const char* file : {"Docs/a.txt", "one.txt", "two.txt"})
            folder.write(file, file);
        folder.write("panel", "#!/bin/sh\ncd " + folder.path() + "\ncat >request\n. ./answer\n");
        fs::permissions(folder / "panel", fs::perms::owner_all);
        daemon = std::make_unique<Program>(Texts{SANDBOX_PROGRAM, "--space", path("space"), "--state",
                                                 path("state"), "--log-level", "error", "--start",
                                                 path("Docs"), "/Docs", "--start", path("Music"), "/Music"});
        extension = std::make_unique<Program>(
            Texts{"/bin/sh", "-c",
                  "exec env LC_ALL=de_DE.UTF-8 DISPLAY=:extension " TSYNCFINDER_PROGRAM
                  " run --panel-program $HOME/panel 2>$HOME/log"});
        waitForBadge("Docs", "tovik");
        waitForBadge("Music", "tovik");
        newLogLines();
    }
    std::string path(const std::string& item) const { return folder.path(item); }
    // The text with "@" for the test's folder.
    std::string filled(const std::string& text) const {
        static const std::regex ofFolder("@/"); // made once: the library's tables are not for several threads
        return std::regex_replace(text, ofFolder, folder.path() + "/");
    }
    void waitForBadge(const std::string& item, const std::string& badge) {
        EXPECT_TRUE(support::eventually([&] {
            return run(TSYNCFINDER_PROGRAM " badges --depth 0 --json " + path(item)).output ==
                   "[{\"badge\":\"" + badge + "\",\"path\":\"" + path(item) + "\"}]\n";
        })) << item
            << " has not become " << badge;
    }
    // What the next panels do, as commands of a shell.
    void panelsDo(const std::string& commands) { folder.write("answer", commands + "\n"); }
    Result invoke(const std::string& arguments) {
        return run("LC_ALL=C LC_MESSAGES=fr DISPLAY=:request " TSYNCFINDER_PROGRAM " invoke " +
                   filled(arguments));
    }
    // The log's lines since the last call, without time and program, and without those of notifications and
    // of the menu that is looked at first.
    Texts newLogLines() {
        const std::string all = contentOf(folder / "log");
        std::istringstream text(all.substr(readOfLog));
        readOfLog = all.size();
        Texts lines;
        static const std::regex prefix("^\\S+ \\S+ tsyncfinder\\[\\d+\\] (info|error): ");
        static const std::regex ofNotifications(
            "^(TSyncFinder Re|All Paths in Sync|TSynClinet|TSyncClient|Added TovikDrive|Selected Item "
            "URLS|All In Sync).*");
        for (std::string line; std::getline(text, line);) {
            line = std::regex_replace(line, prefix, "");
            if (!std::regex_match(line, ofNotifications)) lines.push_back(line);
        }
        return lines;
    }
};

// One after the other, since the daemon acts on each.
struct Case {
    std::string invocation;
    std::string outcome;
    bool succeeds = true;
    std::string panelAnswer = {}; // empty: no panel may be asked
    std::string panelRequest = {};
    std::vector<std::pair<std::string, std::string>> messages = {}; // name, object
    Texts log = {};
};

const Texts startsNothing{"Select Start Sync param: Start sync", "Choose Remote Dest: 1",
                          "Space Dest Path: (null), selectedItemPath: @/Photos"};
const std::string shown = "{\"shown\":true}\n";

std::vector<Case> cases() {
    return {
        {.invocation = "'Exclude from sync' @/Docs/sub",
         .outcome = "Asked the sync service to exclude @/Docs/sub.",
         .messages = {{"kTFinderSyncTExcludeSyncPath", R"({"remotePath":"/Docs/sub"})"}}},
        {.invocation = "includeSync: @/Docs/sub",
         .outcome = "Asked the sync service to include @/Docs/sub.",
         .messages = {{"kTFinderSyncTIncludeSyncPath", R"({"remotePath":"/Docs/sub"})"}}},
        {.invocation = "'Copy to Space' @/one.txt @/Photos",
         .outcome = "Asked the sync service to copy @/one.txt, @/Photos to /Archive.",
         .panelAnswer = shown + R"({"response":1,"path":"/Archive"})",
         .panelRequest =
             R"({"panel":"destination","mode":"copy","sync":false,"paths":["@/one.txt","@/Photos"]})",
         .messages = {{"kTFinderSyncTCopyToSpace", R"({"localPath":"@/one.txt","remotePath":"/Archive"})"},
                      {"kTFinderSyncTCopyToSpace", R"({"localPath":"@/Photos","remotePath":"/Archive"})"}},
         .log = {"Select Copy to Space param: Copy to Space", "Choose Remote Dest: 2",
                 "Copy file: @/one.txt to Space Dest path: /Archive",
                 "Copy file: @/Photos to Space Dest path: /Archive"}},
        {.invocation = "TSFP-MoveToSpace --destination / @/two.txt",
         .outcome = "Asked the sync service to move @/two.txt to /.",
         .messages = {{"kTFinderSyncTMoveToSpace", R"({"localPath":"@/two.txt","remotePath":"/"})"}},
         .log = {"Select Move to Space param: TSFP-MoveToSpace", "Choose Remote Dest: 1",
                 "Move file: @/two.txt to Space Dest path: /"}},
        {.invocation = "'Start sync' --destination // @/Photos",
         .outcome = "A folder cannot be synced with the root of the space.",
         .succeeds = false,
         .log = startsNothing},
        {.invocation = "'Start sync' --destination Archive @/Photos",
         .outcome = "\"Archive\" is not a path in the space.",
         .succeeds = false,
         .log = startsNothing},
        {.invocation = "'Start sync' @/Photos",
         .outcome = "Asked the sync service to sync @/Photos with /Photos.",
         .panelAnswer = shown + R"({"response":1,"path":"/Photos"})",
         .panelRequest = R"({"panel":"destination","sync":true,"paths":["@/Photos"]})",
         .messages = {{"kTFinderSyncTSyncStart", R"({"localPath":"@/Photos","remotePath":"/Photos"})"}},
         .log = {"Select Start Sync param: Start sync", "Choose Remote Dest: 1",
                 "Space Dest Path: /Photos, selectedItemPath: @/Photos"}},
        {.invocation =
             "'Share by email' --recipient 'Lee, Ann <ann@example.org' --recipient 'j@x.org k@x.org' "
             "@/Docs/link",
         .outcome = "Asked the sync service to share @/Docs/link with ann@example.org, j@x.org, k@x.org "
                    "(not confirmed).",
         .messages =
             {{"kTFinderSyncTShareByEmail",
               R"({"localPath":"/Docs/link","isDir":"file","recipients":["ann@example.org","j@x.org","k@x.org"]})"}}},
        {.invocation = "'Share by email' --recipient j@x.org --recipient 'k@x.org, ann@example' @/Docs",
         .outcome = "\"k@x.org, ann@example\" is not an e-mail address.",
         .succeeds = false},
        // The panel posts the message itself; here it only says so.
        {.invocation = "'Share by email' @/Docs/sub",
         .outcome = "Asked the sync service to share @/Docs/sub with ann@example.org (not confirmed).",
         .panelAnswer = shown + R"({"response":1,"sent":true,"recipients":["ann@example.org"]})",
         .panelRequest = R"({"panel":"share","path":"@/Docs/sub","isDir":true,"allPathsInSync":)"
                         R"({"/Docs":"@/Docs","/Music":"@/Music","/Photos":"@/Photos"}})"},
        {.invocation = "stopSync: @/Docs @/Music",
         .outcome = "Asked the sync service to stop syncing @/Docs, @/Music.",
         .messages = {{"kTFinderSyncTSyncStop", R"({"remotePath":"/Docs"})"},
                      {"kTFinderSyncTSyncStop", R"({"remotePath":"/Music"})"}},
         .log = {"Select Stop Sync param: stopSync:", R"(Selected Item Paths ["@/Docs","@/Music"])",
                 R"(Selected Item Paths ["@/Docs","@/Music"])",
                 R"(Selected Item Paths ["@/Docs","@/Music"])"}},
    };
}

TEST_F(CommandsTest, EachSendsItsMessages) {
    support::CommandRecorder recorder;
    for (const Case& command : cases()) {
        SCOPED_TRACE(command.invocation);
        fs::remove(folder / "request");
        panelsDo("cat <<'END'\n" + command.panelAnswer + "\nEND");
        const Result result = invoke(command.invocation);
        EXPECT_EQ(result.output, filled(command.outcome) + "\n");
        EXPECT_EQ(result.status, command.succeeds ? 0 : 1);
        std::vector<std::pair<std::string, platform::Value>> messages;
        for (const auto& [name, object] : command.messages)
            messages.emplace_back(name, platform::valueOfJson(filled(object)).value());
        EXPECT_EQ(recorder.take(), messages);
        EXPECT_EQ(platform::valueOfJson(contentOf(folder / "request")),
                  platform::valueOfJson(filled(command.panelRequest)));
        Texts log;
        for (const std::string& line : command.log)
            log.push_back(filled(line));
        EXPECT_EQ(newLogLines(), log);
        if (command.invocation.starts_with("'Start sync' @")) waitForBadge("Photos", "tovik");
    }
    // The daemon has acted.
    waitForBadge("Docs", "none");
    EXPECT_EQ(contentOf(folder / "space/Archive/one.txt"), "one.txt");
    EXPECT_FALSE(fs::exists(folder / "two.txt"));
}

TEST_F(CommandsTest, CountAPanelThatFailsAsCancelledAndTellThePersonOnce) {
    support::CommandRecorder recorder;
    Desktop desktop;
    const struct {
        const char* answer;
        const char* log;
        bool isDisplayMissing = false;
    } failures[] = {
        {"kill -9 $$", "the panel program gave no answer"},
        {"echo nonsense", "the panel program gave no answer"},
        {"echo '{\"shown\":true}'; exit 1", "the panel ended without an answer"},
        {"echo '{\"shown\":true}'; echo '[1]'", "the panel ended without an answer"},
        {"head -c 3000000 /dev/zero 2>/dev/null", "the panel program gave no answer"},
        {"echo '{\"response\":0,\"error\":\"there is no display\"}'; exit 3", "there is no display", true},
    };
    for (const auto& failure : failures) {
        panelsDo(failure.answer);
        const Result result = invoke("'Start sync' @/Photos");
        EXPECT_EQ(result.output, failure.isDisplayMissing
                                     ? "There is no display to choose on; nothing was sent.\n"
                                       "tsyncfinder: --destination and --recipient answer without a window\n"
                                     : "The window to choose in could not be shown; nothing was sent.\n");
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(newLogLines(),
                    ElementsAre(HasSubstr("Select Start"), HasSubstr("Choose Remote"),
                                "No panel, it counts as cancelled: " + std::string(failure.log),
                                HasSubstr("Space Dest Path: (null)")));
        EXPECT_THAT(desktop.take(), ElementsAre(HasSubstr("es wurde nichts gesendet.")));
    }
    EXPECT_TRUE(recorder.take().empty());

    panelsDo("echo '{\"written\":false}'; exit 1");
    folder.write("a & <b>", "");
    EXPECT_THAT(invoke("copyPublicLink: '@/a & <b>'").output,
                HasSubstr("a & <b> is not in a synced folder."));
    EXPECT_THAT(desktop.take(),
                ElementsAre(path("a &amp; &lt;b&gt;") + " liegt in keinem synchronisierten Ordner."));
    EXPECT_THAT(newLogLines(), ElementsAre("Error in remote request."));

    // What no badge tells at once is told; while that is shown, what comes joins it.
    const std::string excluded = "Der Synchronisierungsdienst soll " + path("Docs/sub") + " ausschließen.";
    EXPECT_EQ(invoke("'Exclude from sync' @/Docs/sub").status, 0);
    EXPECT_THAT(desktop.take(), ElementsAre(excluded));
    EXPECT_EQ(invoke("includeSync: @/Docs/sub").status, 0);
    EXPECT_THAT(desktop.take(), ElementsAre("7 " + excluded + "\nDer Synchronisierungsdienst soll " +
                                            path("Docs/sub") + " wieder einschließen."));
    Texts more;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(invoke("includeSync: @/Docs/sub").status, 0);
        more = desktop.take();
    }
    EXPECT_THAT(more, ElementsAre(testing::EndsWith("wieder einschließen.\n… (+1)")));
    desktop.closeThem();
    EXPECT_EQ(invoke("'Exclude from sync' @/Docs/sub").status, 0);
    EXPECT_THAT(desktop.take(), ElementsAre(excluded));

    daemon->send(SIGSTOP);
    panelsDo("echo asked >>$HOME/panels");
    EXPECT_EQ(invoke("'Start sync' @/Photos").output,
              "The sync service does not answer; nothing was done.\n");
    EXPECT_FALSE(fs::exists(folder / "panels"));
    EXPECT_THAT(desktop.take(), ElementsAre(HasSubstr("antwortet nicht")));
}

TEST_F(CommandsTest, ShowOnePanelAtATimeOnTheDisplayOfItsRequest) {
    panelsDo("echo begins $DISPLAY $LC_ALL $LC_MESSAGES >>panels; echo '{\"shown\":true}'\n"
             "until [ -e go ]; do sleep 0.05; done\n"
             "echo ends >>panels; echo '{\"response\":0}'");
    auto first = std::async(std::launch::async, [this] { return invoke("'Start sync' @/Photos"); });
    EXPECT_TRUE(
        support::eventually([this] { return contentOf(folder / "panels") == "begins :request C fr\n"; }));
    auto second = std::async(std::launch::async, [this] { return invoke("'Copy to Space' @/one.txt"); });
    EXPECT_EQ(invoke("excludeSync: @/Docs/sub").status, 0) << "a panel holds up panels only";
    folder.write("go", "");
    EXPECT_EQ(first.get().output, "Cancelled; nothing was sent.\n");
    second.get();
    EXPECT_EQ(contentOf(folder / "panels"), "begins :request C fr\nends\nbegins :request C fr\nends\n");

    panelsDo("echo '{\"shown\":true}'; echo $$ >pid; exec sleep 1000");
    const auto panelStands = [this] { return contentOf(folder / "pid").ends_with('\n'); };
    const auto panelHasEnded = [this] {
        std::string process = contentOf(folder / "pid");
        process.pop_back();
        return !std::regex_search(contentOf("/proc/" + process + "/stat"), std::regex("\\) [^Z]"));
    };
    Program caller({TSYNCFINDER_PROGRAM, "invoke", "Start sync", path("Photos")});
    EXPECT_TRUE(support::eventually(panelStands));
    caller.end(SIGKILL);
    EXPECT_TRUE(support::eventually(panelHasEnded)) << "the panel has outlived its caller";

    fs::remove(folder / "pid");
    auto third = std::async(std::launch::async, [this] { return invoke("'Start sync' @/Photos"); });
    EXPECT_TRUE(support::eventually(panelStands));
    extension->end(SIGKILL);
    EXPECT_THAT(third.get().output, HasSubstr("The extension has ended."));
    EXPECT_TRUE(support::eventually(panelHasEnded)) << "the panel has outlived the extension";
}

// Nobody has set up a sync service: the person learns it without asking.
TEST(FirstTime, TellsWhatIsMissingAndWritesThatDown) {
    const support::PrivateBus bus;
    const support::TemporaryFolder home;
    ::setenv("HOME", home.path().c_str(), 1);
    Desktop desktop;
    const Program extension(
        {"/usr/bin/env", "LC_ALL=de_DE.UTF-8", TSYNCFINDER_PROGRAM, "run", "--log-level", "error"});
    Texts told;
    EXPECT_TRUE(support::eventually([&] { return !(told = desktop.take()).empty(); }));
    EXPECT_THAT(told, ElementsAre(testing::AllOf(HasSubstr("Noch wird nichts synchronisiert"),
                                                 HasSubstr("tsyncquenz setup"))));
    EXPECT_TRUE(fs::exists(home / ".local/state/tsyncfinder/told-what-is-missing"));
    EXPECT_THAT(run(TSYNCFINDER_PROGRAM " status").output, HasSubstr("tsyncquenz setup"));
}

} // namespace
