// What hosts are answered and told: batches, observed directories, coalesced changes.
#include "host_service/HostService.h"
#include "host_service/ItemDescriptions.h"
#include "protocol/translations.h"
#include "tests/extension/ExtensionParts.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// Each signal as one text: "host: directory: item item".
class RecordingSink final : public host_service::HostSink {
  public:
    void badgesChanged(const host_service::HostName& host, std::uint64_t,
                       const std::vector<host_service::DirectoryChange>& changes) override {
        for (const auto& change : changes) {
            std::string text = host + ": " + change.directory + ":";
            auto items = change.items;
            std::sort(items.begin(), items.end());
            for (const std::string& item : items)
                text += " " + item;
            signals.push_back(text);
        }
    }
    void directoriesChanged(const host_service::WatchedDirectories&) override {}
    void activationFinished(const host_service::HostName& host, std::uint64_t number,
                            const extension::CommandOutcome& outcome) override {
        signals.push_back(host + ": " + std::to_string(number) + (outcome.succeeded ? " done " : " failed ") +
                          outcome.message.english());
    }
    void menusChanged() override { signals.push_back("menus"); }
    void progressChanged() override { ++progress; }
    void observingBegan(const std::string& directory) override { shown.push_back(directory); }
    bool isListening(const host_service::HostName& host) override { return host != deaf; }
    void hostDropped(const host_service::HostName& host, const host_service::WatchedDirectories&) override {
        signals.push_back(host + " dropped");
    }
    std::vector<std::string> take() { return std::exchange(signals, {}); }
    std::vector<std::string> signals;
    std::vector<std::string> shown; // to the sync service
    host_service::HostName deaf;
    int progress = 0;
};

class HostServiceTest : public testing::Test, protected support::ExtensionParts {
  protected:
    support::InlineQueue commands;
    RecordingSink sink;
    support::InlineQueue panels;
    std::vector<extension::CommandRequest> performed;
    std::function<void()> duringThePanel;
    host_service::HostTables tables{sink};
    extension::FinderSync finderSync{forFinderSync(tables)};
    host_service::HostService service{
        {finderSync, tables, sink, disk, log, clock, model, background, commands, panels,
         [this](const extension::Command& command, const extension::CommandRequest& request,
                const host_service::HostService::Done& done) {
             performed.push_back(request);
             if (duringThePanel) std::exchange(duringThePanel, nullptr)();
             done({true, {std::string(command.action) + "%@", {std::to_string(request.selection.size())}}});
         }}};

    void SetUp() override {
        disk.folders = {{"/r", {"d"}}, {"/r/d", {"f"}}};
        disk.files = {"/r/d/f", "/r/d/g"};
        uploads({});
        announced();
    }
    void uploads(const std::vector<std::string>& files) { refresh({{"/R", "/r"}}, transfer(files)); }
    // Each answer as one text, by its place.
    std::vector<std::string> badges(const std::vector<std::string>& uris) {
        std::vector<std::string> answers;
        service.badges(uris, [&](const extension::BadgeBatch& batch) {
            for (const auto& each : batch.answers)
                answers.push_back((each.kind == extension::BadgeAnswer::Kind::unchanged
                                       ? "unchanged"
                                       : std::string(each.identifier)) +
                                  (each.isInSync ? " in" : "") + (each.isRoot ? " root" : ""));
        });
        return answers;
    }
    std::int64_t count(const char* entry) {
        platform::Dictionary status;
        service.status([&](const platform::Dictionary& given) { status = given; });
        return *status[entry].signedInteger();
    }
    // What was told, after so long; a second is enough for all that waits.
    std::vector<std::string> announced(std::chrono::milliseconds passed = std::chrono::seconds(1)) {
        clock.tick(passed);
        model.tick(passed);
        return sink.take();
    }
};

TEST_F(HostServiceTest, AnswersEachItemOfABatch) {
    uploads({"/r/d/f"});
    EXPECT_THAT(badges({"file:///r", "file:///r/d", "file:///r/d/g", "file:///r/gone", "file:///o",
                        "http://x/", "file:///r/d/f"}),
                ElementsAre("tovik in root", "upload in", "sync in", "unchanged in", "", "", "upload in"));
    host_service::Explanation why;
    service.explain("file:///r/d", [&](const auto& explanation) { why = explanation; });
    EXPECT_EQ(why.badge + " " + why.rule + " " + why.root + " " + why.file, "upload uploading /r /r/d/f");
}

TEST_F(HostServiceTest, DescribesAnItemWithWhatTheDaemonKnowsOfIt) {
    uploads({"/r/d/f"});
    host_service::ItemDescriptions descriptions({service, finderSync, *client, model});
    using platform::Reply;
    const Reply none, no{Reply::Kind::value, false, false}, yes{Reply::Kind::value, true, false};
    const struct {
        const char* uri;
        Reply reply;
        unsigned basesAbove; // the folders between the item and the one that is excluded itself
        const char* rows;
    } cases[] = {
        {"file:///r", no, 0,
         "Status=Synced folder; Synced folder=/r; Remote path=/R; Reason=It is the synced folder itself.; "
         "Excluded=No; "},
        {"file:///r/d", none, 0,
         "Status=Uploading; Synced folder=/r; Remote path=/R/d; Reason=Uploading now: /r/d/f; Excluded=The "
         "sync service does not answer.; "},
        {"file:///r/d/g", yes, 1,
         "Status=In step; Synced folder=/r; Remote path=/R/d/g; Reason=Nothing at it or below it is under "
         "way.; Excluded=Excluded from sync: /r/d; "},
        {"file:///r/d/.DS_Store", none, 0,
         "Synced folder=/r; Remote path=/R/d/.DS_Store; Reason=Nothing exists there, or its disk does not "
         "answer: it keeps the badge it had.; Excluded=Items like it are never synced.; "},
        {"file:///o", none, 0, "Reason=It lies in no synced folder.; "},
        {"http://x/", none, 0, "Reason=It lies in no synced folder.; "},
    };
    for (const auto& each : cases) {
        connections.reply = each.reply;
        unsigned asked = 0;
        connections.onSend = [&](std::string_view) {
            if (asked++ == each.basesAbove) connections.reply.baseFlag = true;
        };
        std::vector<std::string> answers;
        descriptions.describe(each.uri, [&](const host_service::Description& rows) {
            answers.emplace_back();
            for (const auto& row : rows) {
                answers.back() += std::string(row.label) + "=" + row.text.english() + "; ";
                for (const std::string& text : {std::string(row.label), row.text.format})
                    if (text != "%@" && text != "Status") { // the same in German
                        EXPECT_NE(tsyncTranslated(text.c_str(), "de"), text);
                    }
            }
        });
        announced(); // the daemon's time is over
        EXPECT_THAT(answers, ElementsAre(each.rows)) << each.uri;
    }
}

TEST_F(HostServiceTest, TellsAHostOnlyWhatChangedWhereItLooks) {
    service.beginObserving("A", "file:///r");
    service.beginObserving("A", "file:///r/d");
    service.beginObserving("B", "file:///r/d/");
    service.beginObserving("B", "not a uri");
    EXPECT_EQ(finderSync.numberOfObservedPaths(), 3);
    EXPECT_THAT(sink.shown, ElementsAre("file:///r", "file:///r/d"));
    uploads({"/r/d/f"});
    uploads({"/r/d/f"});
    EXPECT_THAT(announced(),
                UnorderedElementsAre("A: file:///r: file:///r/d", "A: file:///r/d: file:///r/d/f",
                                     "B: file:///r/d/: file:///r/d/f"));
    uploads({"/r/d/f"});
    sink.progress = 0;
    EXPECT_THAT(announced(), IsEmpty()) << "nothing has changed";
    EXPECT_EQ(sink.progress, 1) << "but the daemon has told of itself";
    uploads({"/r/d/g"}); // the finished file's folders are announced though no badge was set on them
    EXPECT_THAT(announced({}), testing::Contains("A: file:///r/d: file:///r/d/f file:///r/d/g"));

    // What comes within a tenth of a second is put together.
    uploads({"/r/d/f"});
    EXPECT_THAT(announced(std::chrono::milliseconds(60)), IsEmpty());
    uploads({"/r/d/e"});
    EXPECT_THAT(announced(std::chrono::milliseconds(39)), IsEmpty());
    EXPECT_THAT(announced(std::chrono::milliseconds(1)),
                testing::Contains("A: file:///r/d: file:///r/d/e file:///r/d/f file:///r/d/g"));
    announced();
    uploads({"/r/d/g"});
    announced();

    std::vector<std::string> many;
    for (int i = 0; i < 300; ++i)
        many.push_back("/r/d/x" + std::to_string(i));
    uploads(many);
    EXPECT_THAT(announced(), testing::Contains("A: file:///r/d:")) << "so many items stand for any item";

    uploads({"/r/d/f"});
    EXPECT_GT(announced().size(), 0U);
    uploads({});
    EXPECT_THAT(announced(), testing::Contains("A: file:///r/d: file:///r/d/f")) << "no longer any item";
    service.beginObserving("A", "file:///");
    uploads({"/r/d/f"});
    EXPECT_THAT(announced(), testing::Contains("A: file:///: file:///r"));
    service.endObserving("A", "file:///");

    service.endObserving("A", "file:///r/d/"); // not as it was begun
    EXPECT_EQ(finderSync.numberOfObservedPaths(), 3);
    service.endObserving("A", "file:///r/d");
    service.hostGone("B");
    EXPECT_EQ(finderSync.numberOfObservedPaths(), 1);
    EXPECT_EQ(count("hosts"), 1);
    post(TSYNC_NOTE_SYNC_PATH_REMOVED, {{"localPath", "/r"}});
    EXPECT_THAT(announced(), ElementsAre("A: file:///r:"));
    service.itemsAnswered({"/r/d", "/r/d/f", "/o/x"});
    EXPECT_THAT(announced(), ElementsAre("A: file:///r: file:///r/d")) << "a late disk: just these items";
}

TEST_F(HostServiceTest, TellsAHostThatDoesNotListenOnceItDoesOrDropsIt) {
    service.beginObserving("A", "file:///r");
    service.beginObserving("A", "file:///r/d");
    service.beginObserving("B", "file:///r");
    sink.deaf = "A";
    uploads({"/r/d/f"});
    uploads({});
    EXPECT_THAT(announced(), testing::Each("B: file:///r: file:///r/d"));
    sink.deaf = "";
    EXPECT_THAT(announced(), UnorderedElementsAre("A: file:///r:", "A: file:///r/d:"))
        << "any item may have changed";
    EXPECT_THAT(announced(), IsEmpty());

    sink.deaf = "A";
    uploads({"/r/d/f"});
    std::vector<std::string> told;
    for (int second = 0; second < 29; ++second)
        for (const std::string& signal : announced())
            told.push_back(signal);
    EXPECT_THAT(told, ElementsAre("B: file:///r: file:///r/d")) << "it may still begin to listen";
    EXPECT_THAT(announced(), ElementsAre("A dropped"));
    EXPECT_EQ(count("hosts"), 1);
    EXPECT_EQ(count("observed"), 1);
    EXPECT_THAT(model.delayed, IsEmpty()) << "nobody is waited for";
    sink.deaf = "";
    service.beginObserving("A", "file:///r");
    uploads({});
    EXPECT_THAT(announced(), testing::SizeIs(2));

    // However much a host asks for, what it costs is bounded.
    service.hostGone("B");
    const std::string longName(1000, 'x');
    for (int i = 0; i < 5000; ++i)
        service.beginObserving("B", "file:///r/" + longName + std::to_string(i));
    EXPECT_LT(count("observed"), 4200);
}

TEST_F(HostServiceTest, KnowsARootBehindALinkWhereItIsShown) {
    disk.folders["/home"] = {"link", "other"};
    disk.folders["/home/other"] = {};
    disk.links["/home/link"] = "/r";
    disk.folders["/inner"] = {};
    disk.links["/home/later"] = "/inner";
    disk.links["/home/below"] = "/r/d"; // a folder of the root
    EXPECT_THAT(badges({"file:///home/link/d"}), ElementsAre("")) << "it is not shown: nobody looks";
    for (const char* directory : {"file:///home/link/", "file:///home/link/d", "file:///home/other",
                                  "file:///home/later", "file:///home/below"})
        service.beginObserving("A", directory);
    EXPECT_THAT(announced(), UnorderedElementsAre("A: file:///home/link/:", "A: file:///home/link/d:",
                                                  "A: file:///home/below:"));
    EXPECT_THAT(sink.shown, ElementsAre("file:///r", "file:///r/d", "file:///r/d"))
        << "where the sync service looks";
    uploads({"/r/d/f"});
    EXPECT_THAT(announced(), UnorderedElementsAre("A: file:///home/link/: file:///home/link/d",
                                                  "A: file:///home/link/d: file:///home/link/d/f",
                                                  "A: file:///home/below: file:///home/below/f"));
    const auto questions = disk.questions;
    EXPECT_THAT(
        badges({"file:///home/link", "file:///home/link/d/f", "file:///home/other", "file:///home/linked"}),
        ElementsAre("tovik in root", "upload in", "", ""));
    EXPECT_EQ(disk.questions, questions);
    std::string message;
    service.activate({"A", "Exclude from sync", {"file:///home/link/d"}, {}, "", {}}, message);
    EXPECT_EQ(performed.back().selection.front().path(), "/r/d");

    refresh({{"/R", "/r"}, {"/I", "/inner"}}, transfer({}));
    announced();
    EXPECT_THAT(badges({"file:///home/later"}), ElementsAre("tovik in root")) << "a root that came later";
    service.hostGone("A");
    EXPECT_THAT(badges({"file:///home/link"}), ElementsAre(""));
}

TEST_F(HostServiceTest, ShowsNothingThatThePersonDoesNotWant) {
    const auto items = [this] {
        std::size_t count = 0;
        service.menu({}, {"file:///r"}, [&](const auto& menu) { count = menu->numberOfItems(); });
        for (const auto& [name, menu] : service.menusByClass())
            count += menu->numberOfItems();
        return count;
    };
    service.beginObserving("A", "file:///r");
    EXPECT_EQ(items(), 8U);
    service.menu({}, {"http://x/", "file:///r"}, [](const auto& menu) {
        EXPECT_EQ(menu->itemAtIndex(0)->submenu()->numberOfItems(), 0U) << "not all are local files";
    });
    uploads({"/r/d/f"});
    announced();
    using host_service::BadgeChoice;
    const auto chosen = [&](BadgeChoice choice) {
        service.setShown({.badges = choice, .menu = true});
        EXPECT_THAT(announced(), ElementsAre("A: file:///r:"));
        return badges({"file:///r", "file:///r/d", "file:///r/d/g", "file:///r/gone"});
    };
    EXPECT_THAT(chosen(BadgeChoice::changes), ElementsAre("tovik in root", "upload in", " in", " in"));
    EXPECT_THAT(chosen(BadgeChoice::problems), ElementsAre("tovik in root", " in", " in", " in"));
    service.setProblems({"/r/d/g"});
    EXPECT_THAT(announced(), ElementsAre("A: file:///r: file:///r/d"));
    EXPECT_THAT(badges({"file:///r", "file:///r/d", "file:///r/d/g"}),
                ElementsAre("tovik in root", " in", "error in"));
    uploads({});
    EXPECT_THAT(badges({"file:///r/d", "file:///r/d/f"}), ElementsAre("error in", " in"));
    service.setProblems({});
    announced();
    // The flags decide the menu; an item that keeps its badge would keep it.
    EXPECT_THAT(chosen(BadgeChoice::none), ElementsAre(" in root", " in", " in", " in"));
    service.setShown({.badges = BadgeChoice::none, .menu = false});
    service.setShown({.badges = BadgeChoice::none, .menu = false});
    EXPECT_THAT(announced(), ElementsAre("menus")) << "only what changed is told";
    EXPECT_EQ(items(), 0U);
    service.setShown({});
    EXPECT_THAT(announced(), UnorderedElementsAre("A: file:///r:", "menus"));
    EXPECT_THAT(badges({"file:///r"}), ElementsAre("tovik in root"));
    EXPECT_EQ(items(), 8U);
}

TEST_F(HostServiceTest, RunsAChosenItemAndTellsItsOutcome) {
    std::string message;
    EXPECT_FALSE(service.activate({"A", "No such item", {}, {}, "", {}}, message));
    EXPECT_EQ(message, "There is no menu item \"No such item\".");
    EXPECT_FALSE(service.activate({"A", "Stop sync", {"http://x/", "file:///r"}, {}, "", {}}, message));
    EXPECT_EQ(message, "Something that is selected is not a local file.");
    EXPECT_EQ(service.activate({"A", "Stop sync", {"file:///r"}, {}, "", {}}, message), 1U);
    EXPECT_THAT(announced(), ElementsAre("A: 1 done stopSync:1"));
    const platform::Dictionary options{{"destination", 7},
                                       {"recipients", platform::Array{"a@b.org", 7}},
                                       {"parentWindow", "x11:7"},
                                       {"other", platform::Array{}}};
    service.activate({"A", "Start sync", {"file:///o"}, {{"DISPLAY", ":7"}}, "token", options}, message);
    const extension::CommandRequest& request = performed.back();
    EXPECT_EQ(request.sender, "Start sync");
    EXPECT_EQ(request.destination, "") << "of another type: refused by the panel's rules, not asked for";
    EXPECT_THAT(request.recipients, ElementsAre("a@b.org"));
    EXPECT_EQ(request.display.activationToken + request.display.parentWindow, "tokenx11:7");
    EXPECT_EQ(request.display.environment.at("DISPLAY"), ":7");
}

TEST_F(HostServiceTest, DropsThePanelsOfAHostThatHasGone) {
    std::string message;
    const auto activate = [&](const char* host, const char* item) {
        return service.activate({host, item, {"file:///o"}, {}, "", {}}, message).has_value();
    };
    duringThePanel = [&] {
        EXPECT_TRUE(activate("A", "Stop sync")) << "waits for no panel";
        for (int i = 1; i < 16; ++i)
            EXPECT_TRUE(activate("A", "Start sync"));
        EXPECT_FALSE(activate("A", "Start sync")) << "a host has so many under way at most";
        EXPECT_EQ(message, "Too many actions are under way. Wait until some of them have ended.");
        for (const char* language : {"de", "fr", "it", "es"})
            EXPECT_NE(tsyncTranslated(message.c_str(), language), message) << language;
        EXPECT_TRUE(activate("B", "Start sync"));
        EXPECT_FALSE(performed.front().cancellation->isCancelled());
        service.hostGone("A");
        EXPECT_TRUE(performed.front().cancellation->isCancelled());
    };
    EXPECT_TRUE(activate("A", "Start sync"));
    EXPECT_EQ(performed.size(), 3U) << "the two panels that somebody waits for, and what needs none";
    EXPECT_FALSE(performed.back().cancellation->isCancelled());
    EXPECT_THAT(announced(), ElementsAre("A: 2 done stopSync:1", "B: 18 done startSync:1"));
}

} // namespace
