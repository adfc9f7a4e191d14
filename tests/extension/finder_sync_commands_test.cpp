// The actions by themselves: what they ask, post, tell and come to, against a daemon whose every answer the
// test decides.
#include "extension/commands.h"
#include "platform/json.h"
#include "tests/extension/ExtensionParts.h"

#include <gmock/gmock.h>

namespace {

using extension::CommandOutcome;
using extension::CommandRequest;
using platform::Dictionary;
using platform::Presence;
using platform::Reply;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Texts = std::vector<std::string>;

struct FakePanels final : extension::Panels {
    int asked = 0;
    extension::DestinationAnswer chooseRemoteDestination(extension::DestinationPurpose,
                                                         const CommandRequest& request) override {
        if (!request.destination) ++asked;
        return {request.destination.value_or("/N"), {}};
    }
    extension::ShareAnswer shareByEmail(bool, const daemon_client::SyncPathTable&,
                                        const CommandRequest& request) override {
        if (request.recipients.empty()) ++asked;
        return {{"a@b.org"}, false, false, {}};
    }
};

struct FakePasteboard final : platform::Pasteboard {
    Texts written;
    bool setString(const std::string& text, const platform::Display&) override {
        written.push_back(text);
        return true;
    }
};

struct RecordingNotifier final : platform::UserNotifier {
    Texts told;
    void notify(const platform::DisplayText& text, News news) override {
        told.push_back((news == News::failure ? "failure: " : "success: ") + text.english());
    }
};

const Reply none{Reply::Kind::none, {}, {}};
Reply value(platform::Value content) { return {Reply::Kind::value, std::move(content), {}}; }

class FinderSyncCommandsTest : public testing::Test, protected support::ExtensionParts {
  protected:
    support::RecordingController controller;
    support::InlineQueue links;
    FakePanels panels;
    FakePasteboard pasteboard;
    RecordingNotifier notifier;
    Presence daemon = Presence::answering;
    std::map<std::string, Reply> replies; // by message, up to its first colon; otherwise no reply
    std::unique_ptr<extension::FinderSync> finderSync;
    std::unique_ptr<extension::FinderSyncCommands> commands;

    void SetUp() override {
        disk.folders = {{"/", {}}, {"/r", {"d"}}, {"/r/d", {}}, {"/o", {"x"}}};
        disk.files = {"/o/x", "/o/y"};
        finderSync = std::make_unique<extension::FinderSync>(forFinderSync(controller));
        commands =
            std::make_unique<extension::FinderSyncCommands>(extension::FinderSyncCommands::Surroundings{
                *finderSync, *client, center, disk, log, clock, links, panels, pasteboard, notifier,
                [this] { return daemon; }});
        connections.onSend = [this](std::string_view message) {
            const auto reply = replies.find(std::string(message.substr(0, message.find(':'))));
            connections.reply = reply != replies.end() ? reply->second : Reply();
        };
        refresh({{"/R", "/r"}});
        center.posted.clear();
        clock.slept.clear();
    }
    static CommandRequest selecting(const Texts& paths, std::optional<std::string> destination = {}) {
        CommandRequest request;
        request.selection = urls(paths);
        request.destination = std::move(destination);
        return request;
    }
    // What the command of that title, key or action name has come to.
    std::string perform(const std::string& action, const CommandRequest& request) {
        std::string text = "(never done)";
        commands->perform(*extension::commandNamed(action), request, [&text](const CommandOutcome& outcome) {
            text = (outcome.succeeded ? "" : "failed: ") + outcome.message.english();
        });
        return text;
    }
    Texts takePosted() {
        Texts posted;
        for (const platform::Notification& message : std::exchange(center.posted, {}))
            posted.push_back(message.name.substr(std::string_view("kTFinderSyncT").size()) + " " +
                             message.object.value_or(""));
        return posted;
    }
};

TEST_F(FinderSyncCommandsTest, AreConfirmedByWhatTheDaemonAnswers) {
    const Reply before = value(Dictionary{{"/R", "/r"}});
    const Reply withPair = value(Dictionary{{"/R", "/r"}, {"/N/", "/o/."}});
    const Reply yes = value(true);
    const Reply no = value(false);
    using Replies = std::map<std::string, Reply>;
    const Replies nothingThere{{"pendingOperationOnPath", no}, {"remoteFileInfo", none}};
    const Replies somethingThere{{"pendingOperationOnPath", no}, {"remoteFileInfo", value(Dictionary())}};
    const struct {
        const char* action;
        const char* path;
        Replies replies;
        std::string outcome; // "": it is not confirmed
        bool isTold = false; // also by the desktop; each failure is
    } cases[] = {
        {"stopSync:", "/r", {{"allPathsInSync", value(Dictionary())}}, "stop syncing /r."},
        {"stopSync:", "/r", {{"allPathsInSync", none}}, "stop syncing /r."},
        {"stopSync:", "/r", {{"allPathsInSync", before}}, ""},
        {"stopSync:", "/r", {}, ""},
        {"startSync:", "/o", {{"allPathsInSync", withPair}}, "sync /o with /N."},
        {"startSync:", "/o", {{"allPathsInSync", before}}, ""},
        {"excludeSync:", "/r/d", {{"isRemotePathExcluded", yes}}, "exclude /r/d.", true},
        {"excludeSync:", "/r/d", {{"isRemotePathExcluded", no}}, ""},
        {"includeSync:", "/r/d", {{"isRemotePathExcluded", no}}, "include /r/d.", true},
        {"includeSync:", "/r/d", {{"isRemotePathExcluded", yes}}, ""},
        {"copyToSpace:", "/o/x", {{"pendingOperationOnPath", yes}}, "copy /o/x to /N.", true},
        {"copyToSpace:", "/o/x", nothingThere, ""},
        {"copyToSpace:", "/o/x", somethingThere, "copy /o/x to /N (not confirmed).",
         true}, // it may be an older one
        {"moveToSpace:", "/o/x", somethingThere, "move /o/x to /N (not confirmed).", true},
        {"moveToSpace:", "/o/gone", nothingThere, ""},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(std::string(each.action) + " " + each.path + " " + each.outcome);
        replies = each.replies;
        const std::string confirmed = "Asked the sync service to " + each.outcome;
        const std::string unconfirmed =
            std::string("The sync service was asked, but has not confirmed it: ") + each.path;
        EXPECT_EQ(perform(each.action, selecting({each.path}, "/N")),
                  each.outcome.empty() ? "failed: " + unconfirmed : confirmed);
        EXPECT_THAT(takePosted(), SizeIs(1)) << "whatever the daemon says later";
        const std::string logged = std::string("Not confirmed by the daemon: [\"") + each.path + "\"]";
        EXPECT_EQ(testing::Value(log.take(), testing::Contains(logged)), each.outcome.empty());
        const Texts told = each.outcome.empty() ? Texts{"failure: " + unconfirmed}
                           : each.isTold        ? Texts{"success: " + confirmed}
                                                : Texts{}; // a badge tells it
        EXPECT_EQ(std::exchange(notifier.told, {}), told);
        EXPECT_LE(clock.slept.size(), 20U) << "the wait has a bound";
        clock.slept.clear();
    }
}

TEST_F(FinderSyncCommandsTest, AMoveIsConfirmedWhenTheItemsHaveGone) {
    replies = {{"pendingOperationOnPath", value(false)}, {"remoteFileInfo", none}};
    const auto mover = center.addObserver("kTFinderSyncTMoveToSpace", [this](const platform::Notification&) {
        disk.files.erase(disk.files.begin());
    });
    EXPECT_EQ(perform("moveToSpace:", selecting({"/o/x", "/o/y"}, "/N")),
              "Asked the sync service to move /o/x, /o/y to /N.");
    EXPECT_THAT(takePosted(), ElementsAre(R"(MoveToSpace {"localPath":"/o/x","remotePath":"/N"})",
                                          R"(MoveToSpace {"localPath":"/o/y","remotePath":"/N"})"));
}

TEST_F(FinderSyncCommandsTest, AskAndPostNothingWhereNothingCanCome) {
    const std::string silent = "failed: The sync service does not answer; nothing was done.";
    const std::string absent = "failed: The sync service is not running; nothing was done.";
    for (const extension::Command& command : extension::allCommands()) {
        const std::string action(command.action);
        const bool isForOutside = action == "startSync:" || action.ends_with("Space:");
        const CommandRequest request = selecting({isForOutside ? "/o" : "/r"});
        daemon = Presence::silent;
        EXPECT_EQ(perform(action, request), silent) << action;
        EXPECT_THAT(takePosted(), IsEmpty()) << action;
        daemon = Presence::absent;
        EXPECT_EQ(perform(action, request), absent) << action;
        // What needs no panel is posted all the same: a daemon that is just starting may hear it.
        const bool isPosted =
            !extension::asksPerson(*extension::commandNamed(action), request) && action != "copyPublicLink:";
        EXPECT_THAT(takePosted(), SizeIs(isPosted ? 1 : 0)) << action;
    }
    daemon = Presence::answering;
    EXPECT_EQ(perform("startSync:", selecting({"/r"})), "failed: /r is already synced with /R.");
    EXPECT_EQ(panels.asked, 0);

    EXPECT_EQ(perform("startSync:", selecting({"/o"}, "/R/")), "failed: /r is already synced with /R.");
    EXPECT_EQ(perform("stopSync:", selecting({"/o"})), "failed: Left out, not in a synced folder: /o");
    EXPECT_EQ(log.count("Skipped without a message: [\"/o\"]"), 1U);
    EXPECT_EQ(perform("stopSync:", selecting({"/r/\xff"})),
              "failed: Left out, with a name that cannot be sent: \"/r/\xEF\xBF\xBD\"");
    EXPECT_THAT(log.lines(), testing::Contains(testing::StartsWith("kTFinderSyncTSyncStop was not sent, ")));
    EXPECT_EQ(perform("stopSync:", selecting({"/o", "/r/\xff"})),
              "failed: Left out, not in a synced folder or with a name that cannot be sent: /o, "
              "\"/r/\xEF\xBF\xBD\"");
    EXPECT_EQ(perform("stopSync:", selecting({})), "failed: Nothing is selected.");
    EXPECT_THAT(takePosted(), IsEmpty());
    perform("stopSync:", selecting(Texts(18, "/r")));
    EXPECT_THAT(log.lines(), testing::Contains(testing::EndsWith(R"-("/r","… (+2)"])-"))) << "in the log";
}

TEST_F(FinderSyncCommandsTest, LinksAreCopiedAndBounded) {
    replies = {{"linkForSharingFile", value("https://l")}};
    EXPECT_EQ(perform("copyPublicLink:", selecting({"/r/d"})), "Copied the public link https://l");
    EXPECT_THAT(pasteboard.written, ElementsAre("https://l"));
    EXPECT_THAT(notifier.told, ElementsAre("success: Copied the public link https://l"));
    Texts outcomes;
    links.dispatch([&] { // what is asked for meanwhile waits for the end of this
        for (int i = 0; i < 17; ++i)
            commands->perform(
                *extension::commandNamed("copyPublicLink:"), selecting({"/r/d"}),
                [&outcomes](const CommandOutcome& outcome) { outcomes.push_back(outcome.message.format); });
        EXPECT_THAT(outcomes, ElementsAre("Too many public links are being asked for; try again when they "
                                          "have come."));
    });
    EXPECT_THAT(outcomes, SizeIs(17));
    EXPECT_EQ(perform("copyPublicLink:", selecting({"/r/d"})), "Copied the public link https://l");
    connections.onSend = [](std::string_view) { throw platform::IPCError("no bus"); };
    EXPECT_EQ(perform("copyPublicLink:", selecting({"/r/d"})),
              "failed: The sync service gave no public link for /r/d.");
    EXPECT_EQ(log.count("The daemon cannot be asked: no bus"), 1U);
}

} // namespace
