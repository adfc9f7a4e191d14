// The extension object against recorded calls: what the daemon's notifications do to the badges, in which
// order, and which menus selections get.
#include "extension/commands.h"
#include "extension/tree_walk.h"
#include "tests/extension/ExtensionParts.h"
#include "tests/support/counted_memory.h"

#include <gmock/gmock.h>

namespace {

using platform::Dictionary;
using platform::FileURL;
using platform::Value;
using testing::ElementsAre;
using testing::IsEmpty;
using Calls = std::vector<std::string>;

class FinderSyncTest : public testing::Test, protected support::ExtensionParts {
  protected:
    support::RecordingController controller;
    std::unique_ptr<extension::FinderSync> finderSync;

    void start() { finderSync = std::make_unique<extension::FinderSync>(forFinderSync(controller)); }
    void SetUp() override {
        disk.folders = {
            {"/", {"r", "s", "o"}}, {"/r", {"d", "f"}}, {"/r/d", {"g"}}, {"/s", {}}, {"/o", {"x"}}};
        disk.files = {"/r/f", "/r/d/g", "/o/x"};
    }
    void removed(Value path) { post(TSYNC_NOTE_SYNC_PATH_REMOVED, {{"localPath", std::move(path)}}); }
    Calls badgeOf(const std::string& path) {
        controller.take();
        finderSync->requestBadgeIdentifierForURL(FileURL::withPath(path).value());
        return controller.take();
    }

    static Value status(const char* name) { return Dictionary{{"status", name}}; }
};

TEST_F(FinderSyncTest, StartsInTheDocumentedOrder) {
    connections.refusals = 3; // the client's own start and two attempts
    disk.folders["/Volumes"] = {"Disk"};
    start();
    EXPECT_THAT(controller.calls,
                ElementsAre("no directories", "no directories", "directories / /Volumes/Disk",
                            "register update folderbadge_update.png Status Update",
                            "register sync TovikFolderBadge_sync.png Status Sync",
                            "register error folderbadge_error.png Status Error",
                            "register upload note_upload.png Status Upload",
                            "register tovik FolderBadgeTovik.png Tovik Icon"));
    EXPECT_THAT(log.lines(),
                ElementsAre("TSyncFinderSync started", "Initializing TSyncClient ....", "Exception: no bus",
                            "TSyncFinderSync Client <TSyncClient>", "Exception: no bus",
                            "Waiting for tsyncquenz daemon", "Exception: no bus",
                            "Waiting for tsyncquenz daemon", "Connecting TSync XPC! .... <silent>",
                            "TSyncClient: daemon connected!", "TSynClinet Daemon is Ready",
                            "Adding Volume: Disk", "TSyncFinderSync connected to tsyncquenz"));
    EXPECT_THAT(clock.slept, ElementsAre(std::chrono::seconds(1), std::chrono::seconds(1)));
    EXPECT_THAT(badgeOf("/r/f"), ElementsAre("badge none /r/f")) << "no table yet: no badge";
    finderSync->refreshInterface();
    EXPECT_THAT(background.delayed, IsEmpty()) << "no roots: no further cycle";
}

TEST_F(FinderSyncTest, FollowsATransferFromItsStartToItsEnd) {
    start();
    controller.take();
    refresh({{"/R", "/r"}});
    EXPECT_THAT(controller.take(), ElementsAre("badge tovik /r"));
    EXPECT_THAT(badgeOf("/r/f"), ElementsAre("badge sync /r/f"));
    EXPECT_THAT(badgeOf("/r/gone"), IsEmpty()) << "a vanished item keeps what it had";

    const Calls uploading{"badge upload /r/d/g", "badge upload /r/d/g", "badge upload /r/d",
                          "badge tovik /r"};
    refresh({{"/R", "/r"}}, transfer({"/r/d/g"}));
    EXPECT_EQ(controller.take(), uploading);
    refresh({{"/R", "/r"}}, transfer({"/r/d/g"}));
    EXPECT_EQ(controller.take(), uploading) << "the same record again sets the same badges";
    refresh({{"/R", "/r"}}, status("syncStatusUploading"));
    EXPECT_THAT(controller.take(), IsEmpty()) << "only the transfer drives the badges";

    refresh({{"/R", "/r"}}, transfer({"/r/f"}));
    EXPECT_THAT(controller.take(),
                ElementsAre("badge sync /r/d/g", // dropped: no walk
                            "badge upload /r/f", "badge upload /r/f", "badge tovik /r"));
    log.take();
    refresh({{"/R", "/r"}}, status("syncStatusCompleted"));
    EXPECT_THAT(controller.take(), ElementsAre("badge sync /r/f", "badge sync /r/f", "badge tovik /r"));
    const std::string request = "@requestBadgeIdentifierForURL watched Paths [\"file:///r\"]";
    EXPECT_THAT(log.take(), ElementsAre("Set Badge to uploading Path =======> /r/f", request, request))
        << "each step of the walk is a request";
    // The root of the file system gets its badge though it has no walk.
    refresh({{"/R", "/r"}}, transfer({"/", "/r/d/"}));
    EXPECT_THAT(controller.take(),
                ElementsAre("badge upload /", "badge upload /r/d", "badge upload /r/d", "badge tovik /r"));

    // A record without paths ends every upload; a refresh without a table empties the roots at once.
    refresh({{"/R", "/r"}}, transfer({"/r/f"}));
    controller.take();
    refresh({{"/R", "/r"}}, status("syncStatusTransfer"));
    EXPECT_THAT(controller.take(), ElementsAre("badge sync /r/f"));
    post(TSYNC_NOTE_SYNC_REFRESH, {{"statusInfo", transfer({"/r/f"})}});
    EXPECT_THAT(controller.take(), IsEmpty());
    EXPECT_THAT(badgeOf("/r/f"), ElementsAre("badge none /r/f"));

    Calls many{"/r/f"};
    for (int i = 0; i < 1000; ++i) // so many that the disk is asked more than once; none of them exists
        many.push_back("/r/d/" + std::to_string(i));
    refresh({{"/R", "/r"}}, transfer(many));
    controller.take();
    refresh({{"/R", "/r"}}, status("syncStatusCompleted"));
    const Calls calls = controller.take();
    EXPECT_EQ(calls.size(), 3003U);
    EXPECT_THAT(Calls(calls.end() - 3, calls.end()),
                ElementsAre("badge sync /r/f", "badge sync /r/f", "badge tovik /r"));
}

TEST_F(FinderSyncTest, ReconcilesTheRootsWithTheTable) {
    start();
    refresh({{"/R", "/r"}});
    controller.take();
    refresh({{"/S", "/s"}}); // as many roots as before, but another one
    EXPECT_THAT(controller.take(), ElementsAre("badge tovik /s"));
    EXPECT_THAT(badgeOf("/r/f"), ElementsAre("badge none /r/f"));
    refresh({{"/A", "/r"}, {"/B", "/r"}}); // two pairs of one root
    EXPECT_THAT(controller.take(), ElementsAre("badge tovik /r", "badge tovik /r"));
    refresh({{"/A", "/r"}, {"/B", "/r/d"}}); // nested
    EXPECT_THAT(controller.take(), ElementsAre("badge tovik /r", "badge tovik /r/d"));
    post(TSYNC_NOTE_SYNC_PATH_ADDED, {{"remotePath", "/S"}, {"localPath", "/s"}});
    EXPECT_THAT(controller.take(), ElementsAre("badge tovik /r", "badge tovik /r/d"))
        << "a path added alone changes nothing";

    finderSync->setPauseRefreshInterface(true);
    refresh({{"/R", "/r"}}, transfer({"/r/f"}));
    EXPECT_THAT(controller.take(), ElementsAre("badge tovik /r")) << "roots yes, status no";
    EXPECT_EQ(log.count("pauseRefreshInterface"), 1U);
    finderSync->beginObservingDirectoryAtURL(FileURL::withPath("/r").value());
    EXPECT_FALSE(finderSync->pauseRefreshInterface());
    EXPECT_EQ(finderSync->numberOfObservedPaths(), 1);
    EXPECT_EQ(log.count("beginObservingDirectoryAtURL:file:///r"), 1U);
    finderSync->refreshInterface();
    EXPECT_THAT(controller.take(), IsEmpty()) << "the roots are known";
    EXPECT_EQ(background.delayed.size(), 1U) << "only this polls";
    EXPECT_EQ(log.count("TSyncFinder tsync status (null)"), 1U);
}

TEST_F(FinderSyncTest, ClearsEverythingBelowARemovedRootAndEndsInACycle) {
    disk.folders["/r/d"] = {"g", "loop"};
    disk.links["/r/d/loop"] = "/r";
    start();
    refresh({{"/R", "/r"}});
    controller.take();
    removed("/r");
    const Calls calls = controller.take();
    ASSERT_GE(calls.size(), 5U);
    EXPECT_THAT(Calls(calls.begin(), calls.begin() + 5),
                ElementsAre("badge none /r", "badge none /r/d", "badge none /r/d/g", "badge none /r/d/loop",
                            "badge none /r/d/loop/d"));
    EXPECT_THAT(calls, testing::Contains("badge none /r/f"));
    EXPECT_LT(calls.size(), 20U) << "the cycle of links ends";
    std::size_t visited = 0;
    extension::forEachItemBelow(
        disk, "/r", [&](const auto&) { return ++visited > 0; }, 3);
    EXPECT_EQ(visited, 3U) << "so does a walk of very much";
    EXPECT_EQ(log.count("TSyncFinder Removing child Path: /r/d/g"), 1U);
    EXPECT_THAT(badgeOf("/r/f"), ElementsAre("badge none /r/f"));
    finderSync->removeBadgeOfChildPath("/r/d");
    EXPECT_THAT(controller.take(), testing::Contains("badge none /r/d/g"));

    // The whole disk, on a queue of its own; the walk ends when the next table makes other roots.
    walks.isHeld = true;
    refresh({{"/R", "/r"}});
    controller.take();
    removed("/");
    EXPECT_THAT(controller.take(), ElementsAre("badge none /")) << "no other queue walks";
    EXPECT_THAT(badgeOf("/r/f"), ElementsAre("badge sync /r/f")) << "nothing waits for the walk";
    refresh({{"/S", "/s"}});
    controller.take();
    walks.release();
    EXPECT_THAT(controller.take(), IsEmpty());
}

TEST_F(FinderSyncTest, DoesNoWorkForAControllerThatShowsNothing) {
    controller.isShowing = false;
    log.lowest = platform::LogLevel::info;
    start();
    disk.questions = 0;
    refresh({{"/R", "/r"}}, transfer({"/r/d/g"}));
    refresh({{"/R", "/r"}}, transfer({"/r/f"}));
    refresh({{"/R", "/r"}}, status("syncStatusCompleted"));
    controller.take();
    removed("/r");
    EXPECT_EQ(disk.questions, 0U);
    EXPECT_THAT(controller.take(), ElementsAre("badge none /r"));
}

TEST_F(FinderSyncTest, ALookupCopiesNoRootsAndTheModelQueueDecodesNone) {
    log.lowest = platform::LogLevel::info; // a line of each request names all roots
    controller.isShowing = false;
    Dictionary table;
    for (int i = 0; i < 10'000; ++i)
        table["/R" + std::to_string(i)] = "/roots/of/a/person/" + std::to_string(i);
    connections.reply = {platform::Reply::Kind::value, table, {}};
    start();
    refresh(table);
    model.isHeld = true;
    refresh(table);
    std::size_t before = counted::now;
    counted::peak = before;
    model.release();
    EXPECT_LT(counted::peak - before, 50'000U) << "the roots take more than a megabyte";

    const std::string path = "/roots/of/a/person/9999/f";
    before = counted::now;
    counted::peak = before;
    bool isRoot = true;
    EXPECT_TRUE(finderSync->isPathInSync(path, isRoot) && client->isPathInSync(path, isRoot));
    bool isAnswered = false;
    finderSync->badgesForItems(urls({path}), [&](const extension::BadgeBatch&) { isAnswered = true; });
    EXPECT_TRUE(isAnswered);
    EXPECT_LT(counted::peak - before, 50'000U);
}

// A batch that waits for its disk holds up no other, and is answered by the state that stands then.
TEST_F(FinderSyncTest, AnswersOtherBatchesWhileADiskIsSlow) {
    start();
    refresh({{"/R", "/r"}}, transfer({"/r/d/g"}));
    Calls answers;
    const auto ask = [&](const Calls& paths) {
        finderSync->badgesForItems(urls(paths), [&](const extension::BadgeBatch& batch) {
            std::string text = std::to_string(batch.sequence - finderSync->badgeState()->sequence());
            for (const auto& each : batch.answers)
                text += each.kind == extension::BadgeAnswer::Kind::unchanged
                            ? " unchanged"
                            : " " + std::string(each.identifier);
            answers.push_back(text);
        });
    };
    disk.isSlow = true;
    ask({"/r/f", "/r/d/g", "/r/gone"});
    ask({"/r", "/o/x"});
    EXPECT_THAT(answers, ElementsAre("0 tovik ")) << "needs no disk";
    refresh({{"/R", "/r"}}, transfer({"/r/f"})); // meanwhile
    for (int questions = 0; questions < 2; ++questions) {
        ASSERT_EQ(disk.waiting.size(), 1U) << "the second time for what the new state shows otherwise";
        std::exchange(disk.waiting, {}).front()();
    }
    EXPECT_THAT(answers, ElementsAre("0 tovik ", "0 upload sync unchanged"));
}

TEST_F(FinderSyncTest, LetsAHostileNotificationChangeNothing) {
    log.lowest = platform::LogLevel::info;
    start();
    removed("/r"); // before there is a table
    refresh({{"/R", "/r"}}, transfer({"/r/f"}));
    controller.take();
    removed(Value(7));
    post(TSYNC_NOTE_SYNC_PATH_REMOVED);
    removed("");
    removed("r/f");
    EXPECT_THAT(controller.take(), IsEmpty());

    refresh({{"/R", "/r"}, {"/N", Value(1)}, {"/E", "relative"}},
            transfer({"", "no path", "/r/" + std::string(5000, 'x'), "/r/f"}));
    EXPECT_THAT(controller.take(),
                ElementsAre("badge tovik /r", "badge upload /r/f", "badge upload /r/f", "badge tovik /r"));
    refresh({{"/R", "/r"}}, Value("syncStatusCompleted"));
    refresh({{"/R", "/r"}}, Dictionary{{"status", Value(1)}});
    EXPECT_THAT(badgeOf("/r/f"), ElementsAre("badge upload /r/f"));
}

TEST_F(FinderSyncTest, OffersWhatTheSelectionAllows) {
    disk.folders["/o/folder"] = {};
    disk.folders["/o/folder2"] = {};
    disk.links["/o/link"] = "/o/folder";
    start();
    refresh({{"/R", "/r"}, {"/S", "/s"}});
    const std::vector<std::pair<Calls, Calls>> cases{
        // selection, titles
        {{}, {}},
        {{"/r/gone"}, {}},
        {{"/r"}, {"Share by email", "Stop sync"}},
        {{"/r/d"}, {"Share by email", "Exclude from sync"}},
        {{"/r/f"}, {"Share by email"}},
        {{"/r", "/s"}, {"Stop sync"}},
        {{"/s", "/r/d"}, {}},
        {{"/r/d", "/s"}, {}},
        {{"/o/folder"}, {"Move to Space", "Copy to Space", "Start sync"}},
        {{"/o/link"}, {"Move to Space", "Copy to Space", "Start sync"}},
        {{"/o/x"}, {"Move to Space", "Copy to Space"}},
        {{"/o/folder", "/o/folder2"}, {"Move to Space", "Copy to Space"}},
        {{"/r/f", "/o/x"}, {}},
        {{"/"}, {"Move to Space", "Copy to Space", "Start sync"}},
    };
    for (const auto& [paths, expected] : cases) {
        const auto menu =
            finderSync->menuForMenuKind(platform::FIMenuKind::contextualMenuForItems, urls(paths));
        ASSERT_EQ(menu->numberOfItems(), 1U);
        const auto top = menu->itemAtIndex(0);
        EXPECT_EQ(top->title + "|" + top->keyEquivalent + "|" + top->action, "TovikDrive|TSFP|");
        ASSERT_NE(top->submenu(), nullptr);
        Calls titles;
        for (const auto& item : top->submenu()->items()) {
            titles.push_back(item->title);
            EXPECT_EQ(extension::commandNamed(item->title)->action, item->action);
            EXPECT_EQ(extension::commandNamed(item->keyEquivalent)->action, item->action);
            EXPECT_EQ(item->image->name, "statusbaricon.png");
        }
        EXPECT_EQ(titles, expected) << testing::PrintToString(paths);
    }
    EXPECT_EQ(log.count("Selected Item not exists"), 2U);
    log.take();
    finderSync->menuForMenuKind(platform::FIMenuKind::contextualMenuForItems, urls({"/r/f", "/o/x"}));
    EXPECT_THAT(log.take(),
                ElementsAre("Added TovikDrive main menu",
                            "Selected Item URLS: [\"file:///r/f\",\"file:///o/x\"]", "Check In Sync: 1",
                            "Check In Sync: 0", "All In Sync: 0, not: 0, base: 0"));
    for (const char* name : {"no such item", ""})
        EXPECT_EQ(extension::commandNamed(name), nullptr);
    images.hasImages = false;
    EXPECT_EQ(finderSync->menuForMenuKind(platform::FIMenuKind::toolbarItemMenu, {})->itemAtIndex(0)->image,
              nullptr);
}

} // namespace
