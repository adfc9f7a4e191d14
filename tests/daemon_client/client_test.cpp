// The client on a real bus: daemons that are there, late, silent, dying, refusing and lying.
#include "backends/dbus/raw_message.h"
#include "protocol/messages.h"
#include "protocol/names.h"
#include "tests/support/BusClient.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/silent_connections.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <map>
#include <set>
#include <thread>

namespace {

using daemon_client::TSyncClient;
using platform::Array;
using platform::Dictionary;
using platform::Reply;
using platform::ReplyHandler;
using platform::Value;
using support::TestDaemon;
using support::valueReply;
using testing::IsEmpty;

// For each waiting request: what it answers when there is nothing to say, if that is not right.
std::vector<std::string> wrongNegatives(TSyncClient& client) {
    std::vector<std::string> wrong;
    const auto expect = [&wrong](const char* request, bool isRight) {
        if (!isRight) wrong.emplace_back(request);
    };
    bool flag = true;
    expect("linkForSharingFile", !client.linkForSharingFile("/a", true));
    expect("sendSharingFileByEmail",
           !client.sendSharingFileByEmail("/a", true, std::vector<std::string>{"a@b.c"}));
    expect("isRemotePathExcluded", !client.isRemotePathExcluded("/a", flag));
    expect("isLocalPathExcluded", !client.isLocalPathExcluded("/a", flag));
    expect("the flag", flag);
    expect("pendingOperationOnPath", !client.pendingOperationOnPath("/a"));
    expect("pendingOperationOnRemotePath", !client.pendingOperationOnRemotePath("/a"));
    expect("statusOfFileAtPath", client.statusOfFileAtPath("/a") == 1);
    expect("remoteFileInfo", !client.remoteFileInfo("/a"));
    expect("contentOfDirectoryAtPath", !client.contentOfDirectoryAtPath("/a", true, true));
    expect("directoriesAtPath", !client.directoriesAtPath("/a"));
    expect("directoriesNotInSync", !client.directoriesNotInSyncAtRemoteDirecory("/a"));
    expect("countDirectoriesAtPath", client.countDirectoriesAtPath("/a") == 0);
    expect("allPendingOperations", !client.allPendingOperations());
    expect("uploadingDir", !client.uploadingDir());
    expect("cacheDir", !client.cacheDir());
    expect("remoteSnapshot", !client.remoteSnapshot());
    expect("getSyncStatus", !client.getSyncStatus());
    expect("allPathsInSync", !client.allPathsInSync());
    return wrong;
}

class ClientTest : public support::BusClient {
  protected:
    std::mutex lock;
    std::map<std::string, Reply, std::less<>> answers; // under lock; "no value" to every other message
    std::map<std::string, std::vector<Array>, std::less<>> heard; // under lock: the arguments each time
    std::set<std::string, std::less<>> silent;                    // messages that are left waiting
    std::vector<std::pair<std::string, ReplyHandler>> waiting;    // under lock: they

    TestDaemon::Answer asSet() {
        return [this](std::string_view message, const Array& arguments, const ReplyHandler& handler) {
            const std::lock_guard guard(lock);
            heard[std::string(message)].push_back(arguments);
            if (silent.contains(message)) return void(waiting.emplace_back(message, handler));
            const auto answer = answers.find(message);
            handler(answer != answers.end() ? answer->second : Reply{Reply::Kind::none, {}, std::nullopt});
        };
    }
    void set(const std::string& message, Reply reply) {
        const std::lock_guard guard(lock);
        answers[message] = std::move(reply);
    }
    // Answered and let go without the lock: both take the bus library's own.
    auto takeWaiting() {
        const std::lock_guard guard(lock);
        return std::exchange(waiting, {});
    }
    std::vector<Array> heardOf(const std::string& message) {
        const std::lock_guard guard(lock);
        return heard[message];
    }
};

TEST_F(ClientTest, MakesNothingUpWhenADaemonIsAbsentRefusesOrHasNothing) {
    connect();
    EXPECT_TRUE(client->daemonIsReady());
    EXPECT_EQ(log.count("TSynClinet Daemon is Ready"), 1U);
    client->connect();
    EXPECT_EQ(log.count("TSyncClient: daemon connected!"), 1U) << "a connected client does nothing more";
    client->pause(); // nobody hears it, nothing is raised
    EXPECT_THAT(wrongNegatives(*client), IsEmpty()) << "absent";
    for (const Reply::Kind kind : {Reply::Kind::none, Reply::Kind::noReply}) {
        const TestDaemon daemon([kind](std::string_view, const Array&, const ReplyHandler& handler) {
            handler({kind, {}, std::nullopt});
        });
        EXPECT_THAT(wrongNegatives(*client), IsEmpty()) << (kind == Reply::Kind::none ? "none" : "an error");
    }
    const TestDaemon daemon([](std::string_view message, const Array&, const ReplyHandler& handler) {
        const bool isAboutMany = message.starts_with("sendSharing");
        handler(valueReply(isAboutMany ? Value(true) : Value(Array(100'000, Value("")))));
    });
    const std::vector<std::string> many(100'000, "ann@example.org"); // are not written at once
    EXPECT_TRUE(client->sendSharingFileByEmail("/a", true, many));
    EXPECT_EQ(client->directoriesAtPath("/a"), std::nullopt);
    EXPECT_EQ(log.count("Ignored a reply to directoriesAtPath:withReply:: the message would take too much "
                        "memory"),
              1U);
}

TEST_F(ClientTest, TreatsAnAnswerOfAWrongTypeAsNone) {
    backends::dbus::Bus bus("liar");
    const auto object = sdbus::createObject(bus.connection(), TSYNC_OBJECT_PATH);
    std::atomic<int> calls = 0;
    for (const protocol::Message& message : protocol::messages) {
        if (message.reply.empty()) continue;
        object->registerMethod(TSYNC_INTERFACE, std::string(message.member), std::string(message.arguments),
                               "d", [&calls](sdbus::MethodCall call) {
                                   ++calls;
                                   EXPECT_EQ(sd_bus_message_get_auto_start(backends::dbus::rawMessage(call)),
                                             0);
                                   auto reply = call.createReply();
                                   reply << 7.5;
                                   reply.send();
                               });
    }
    object->finishRegistration();
    bus.start([] {});
    bus.connection().requestName(TSYNC_SERVICE_NAME);
    connect();
    EXPECT_THAT(wrongNegatives(*client), IsEmpty());
    EXPECT_EQ(calls, 18) << "each request, and the table at the connection";
}

TEST_F(ClientTest, TakesTheTableAndTheStatusFromTheDaemon) {
    answers = {
        {"allPathsInSync:", valueReply(Dictionary{{"/Space/Docs", "/home/u/Docs"}, {"/Other", "/mnt"}})},
        {"getSyncStatus:", valueReply(Dictionary{{"status", "syncStatusScanning"}})}};
    TestDaemon daemon(asSet());
    connect();
    ASSERT_TRUE(log.waitFor("All Paths in Sync: {\"/Other\":\"/mnt\",\"/Space/Docs\":\"/home/u/Docs\"}"));
    client->getSyncStatus(); // the reply queue runs in order: the table stands now
    EXPECT_EQ(client->remotePathOfLocalSyncPath("/home/u/Docs/a/b"), "/Space/Docs/a/b");
    EXPECT_EQ(client->localSyncPathOfRemotePath("/Space/Docs//a/"), "/home/u/Docs/a");
    EXPECT_EQ(client->remotePathOfLocalSyncPath({}), std::nullopt);
    EXPECT_EQ(client->localSyncPathOfRemotePath({}), std::nullopt);
    EXPECT_EQ(client->getSyncStatus(), (Dictionary{{"status", "syncStatusScanning"}}));
    client->close();
    EXPECT_TRUE(daemon.waitFor("close"));
    client->close(); // not connected any more: sends nothing, ends at once
    EXPECT_TRUE(client->daemonIsReady());
    EXPECT_TRUE(daemon.waitFor("allPathsInSync:", 2)) << "the next request connects again";
    EXPECT_EQ(heardOf("close").size(), 1U);

    const auto reconnect = [&] {
        client->invalidateSession();
        client->connect();
        client->getSyncStatus(); // answered after the table, on the same queue
    };
    set("allPathsInSync:", {}); // an error
    reconnect();
    EXPECT_NE(client->allPathsInSync(), nullptr);
    set("allPathsInSync:", {Reply::Kind::none, {}, std::nullopt});
    reconnect();
    EXPECT_EQ(client->allPathsInSync(), nullptr);
    EXPECT_EQ(log.count("All Paths in Sync: (null)"), 1U);
}

TEST_F(ClientTest, SendsNothingForNoneAndTwoRequestsNeverConnect) {
    set("linkForSharingFile:isDirectory:withReply:", valueReply("file:///a"));
    set("countDirectoriesAtPath:withReply:", valueReply(std::uint64_t{7}));
    TestDaemon daemon(asSet());
    connect();
    const Dictionary options{{"key", "value"}};
    using Text = std::optional<std::string_view>;
    for (const auto& [one, other] : {std::pair<Text, Text>(std::nullopt, "/a"), {"/a", std::nullopt}}) {
        client->renameFile(one, other);
        client->downloadFile(one, other);
        client->addSyncPath(one, other);
        client->moveLocalFile(one, other);
        client->copyLocalFile(one, other);
        client->cacheFile(one, other ? std::optional(options) : std::nullopt);
        EXPECT_FALSE(
            client->sendSharingFileByEmail(one, true, other ? TSyncClient::Texts({"a"}) : std::nullopt));
    }
    bool isBase = true;
    EXPECT_FALSE(client->isLocalPathExcluded({}, isBase) || client->isRemotePathExcluded({}, isBase));
    EXPECT_EQ(client->linkForSharingFile(std::nullopt, true), std::nullopt);
    client->localSnapshotChanged("/a");
    client->cacheFile("/a", options);
    EXPECT_EQ(client->countDirectoriesAtPath("/a"), 7U); // behind the others, as every message is
    EXPECT_EQ(heardOf("localSnapshotChanged:NoRecursive:"), (std::vector<Array>{{"/a", false}}));
    EXPECT_EQ(heardOf("cacheFile:withOperationOptions:"), (std::vector<Array>{{"/a", options}}));

    client->invalidateSession();
    EXPECT_EQ(client->countDirectoriesAtPath("/a"), 0U);
    EXPECT_EQ(client->directoriesNotInSyncAtRemoteDirecory("/a"), std::nullopt);
    EXPECT_EQ(client->linkForSharingFile("/a", true), "file:///a") << "it connects";
    const std::lock_guard guard(lock);
    EXPECT_EQ(heard.size(), 5U); // with the table
}

TEST_F(ClientTest, RemembersFoldersUntilTheNextTableAndTheSnapshotForGood) {
    TestDaemon daemon(asSet());
    connect();
    ASSERT_TRUE(log.waitFor("All Paths in Sync: (null)"));
    EXPECT_EQ(client->uploadingDir(), std::nullopt);
    EXPECT_EQ(client->remoteSnapshot(), nullptr);
    const support::TemporaryFolder folder;
    const std::string file = folder.write("remote", "2|/f12|2|1|2|");
    set("uploadingDir:", valueReply("/up"));
    set("cacheDir:", valueReply("/cache"));
    set("remoteSnapshot:", valueReply(file));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(client->uploadingDir(), "/up");
        EXPECT_EQ(client->cacheDir(), "/cache");
    }
    const auto snapshot = client->remoteSnapshot();
    ASSERT_NE(snapshot, nullptr);
    EXPECT_NE(snapshot->nodeAtFullpath("/f"), nullptr);
    client->invalidateSession();
    client->connect();
    ASSERT_TRUE(log.waitFor("All Paths in Sync: (null)", 2));
    replies.dispatchAndWait([] {}); // the reply that wrote the line has emptied the caches
    EXPECT_EQ(client->uploadingDir(), "/up");
    EXPECT_EQ(client->remoteSnapshot(), snapshot);
    EXPECT_EQ(heardOf("uploadingDir:").size(), 3U); // of none, before and after the second table
    EXPECT_EQ(heardOf("cacheDir:").size(), 1U);
    EXPECT_EQ(heardOf("remoteSnapshot:").size(), 2U);
}

TEST_F(ClientTest, TheBoundOfTheWaitEndsTheShortRequestsAndALateReplyChangesNothing) {
    const std::map<std::string, Value> late{
        {"getSyncStatus:", Dictionary{{"status", "late"}}},
        {"directoriesNotInSyncAtRemoteDirecory:withReply:", Array{"/late"}},
        {"countDirectoriesAtPath:withReply:", std::uint64_t{3}}};
    for (const auto& [message, value] : late)
        silent.insert(message);
    TestDaemon daemon(asSet());
    connect();
    for (const int times : {1, 2}) {
        auto status = std::async(std::launch::async, [this] { return client->getSyncStatus(); });
        auto folders = std::async(std::launch::async,
                                  [this] { return client->directoriesNotInSyncAtRemoteDirecory("/"); });
        auto count = std::async(std::launch::async, [this] { return client->countDirectoriesAtPath("/"); });
        for (const auto& [message, value] : late)
            EXPECT_TRUE(daemon.waitFor(message, times));
        clock.tick(std::chrono::seconds(1));
        EXPECT_EQ(status.get(), std::nullopt);
        EXPECT_EQ(folders.get(), std::nullopt);
        EXPECT_EQ(count.get(), 0U);
        for (const auto& [message, handler] : takeWaiting())
            handler(valueReply(late.at(message)));
    }
}

TEST_F(ClientTest, FollowsNotificationsAndTheDeathOfTheDaemonOnceBound) {
    answers = {{"allPathsInSync:", valueReply(Dictionary{{"/R", "/r"}})},
               {"getSyncStatus:", valueReply(Dictionary{})}};
    auto daemon = std::make_unique<TestDaemon>(asSet());
    connect();
    client->getSyncStatus();
    client->bindTSyncQuenzNotification();
    client->bindTSyncQuenzNotification();
    center.post({TSYNC_NOTE_SYNC_PATH_ADDED, std::nullopt, {{"remotePath", "/N"}, {"localPath", "/n"}}});
    center.post({TSYNC_NOTE_SYNC_PATH_ADDED, std::nullopt, {{"remotePath", "/N"}, {"localPath", "/m"}}});
    center.post({TSYNC_NOTE_SYNC_PATH_ADDED, std::nullopt, {{"localPath", "/x"}}});
    center.post({TSYNC_NOTE_SYNC_PATH_REMOVED, std::nullopt, {{"remotePath", Value(3)}}});
    center.post({TSYNC_NOTE_SYNC_PATH_ADDED, std::nullopt, {{"remotePath", "/R"}}}); // none: it goes
    const auto becomes = [&](const daemon_client::SyncPathTable& table) {
        return support::eventually([&] { return *client->allPathsInSync() == table; });
    };
    EXPECT_TRUE(becomes({{"/N", "/m"}}));
    center.post({TSYNC_NOTE_SYNC_PATH_REMOVED, std::nullopt, {{"remotePath", "/N"}}});
    EXPECT_TRUE(becomes({}));

    support::RecordingLog stops;
    const auto observer =
        center.addObserver(TSYNC_NOTE_STOP, [&stops](const platform::Notification& notification) {
            stops.write(platform::LogLevel::info, notification.name);
        });
    localCenter.post(platform::NSConnectionDidDieNotification, this);
    client->getSyncStatus();
    EXPECT_EQ(log.count("TSyncClient: daemon connected!"), 1U) << "another connection has died";
    daemon.reset();
    ASSERT_TRUE(stops.waitFor(TSYNC_NOTE_STOP));
    daemon = std::make_unique<TestDaemon>(asSet());
    EXPECT_NE(client->getSyncStatus(), std::nullopt) << "the next request connects to the new daemon";
    EXPECT_EQ(log.count("TSyncClient: daemon connected!"), 2U);
    daemon.reset();
    EXPECT_TRUE(stops.waitFor(TSYNC_NOTE_STOP, 2)) << "the new connection is observed too";
}

TEST_F(ClientTest, SetsUpOneConnectionForManyThreads) {
    TestDaemon daemon(asSet());
    connect();
    client->invalidateSession();
    std::vector<std::jthread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] { EXPECT_TRUE(client->daemonIsReady()); });
    threads.clear();
    EXPECT_EQ(log.count("TSyncClient: daemon connected!"), 2U);
}

TEST_F(ClientTest, SaysWhenThereIsNoBusAndConnectsOnceThereIs) {
    connect();
    client->bindTSyncQuenzNotification(); // else it never learns that a connection has died
    silent = {"cacheDir:"};
    TestDaemon daemon(asSet());
    auto folder = std::async(std::launch::async, [this] { return client->cacheDir(); });
    ASSERT_TRUE(daemon.waitFor("cacheDir:"));
    sessionBus.stop();
    EXPECT_EQ(folder.wait_for(std::chrono::seconds(20)), std::future_status::ready)
        << "waits for nobody, its own bound is 30 seconds";
    EXPECT_TRUE(support::eventually([&] {
        client->invalidateSession();
        client->connect();
        return log.lines().back().starts_with("Exception: ");
    }));
    EXPECT_FALSE(client->daemonIsReady());
    bool isAnswered = false;
    client->send("cacheDir:", {}, [&](const Reply& none) { isAnswered = none.kind == Reply::Kind::noReply; });
    EXPECT_TRUE(isAnswered);
    EXPECT_EQ(client->remotePathOfLocalSyncPath("/r"), std::nullopt);
    support::PrivateBus next;
    EXPECT_TRUE(client->daemonIsReady()) << "also when the bus thread has not seen yet that the bus is gone";
    takeWaiting();
}

// `close` and `cacheDir` go on for as long as sending fails, without growing the stack; the others do not.
TEST(ClientThatCannotSend, TriesAgainOrSaysSoAsEachRequestDoes) {
    support::SilentConnections connections;
    int failures = 10'000;
    connections.reply = valueReply("/cache");
    connections.onSend = [&failures](std::string_view message) {
        if (message != "allPathsInSync:" && failures-- > 0) throw platform::IPCError("not now");
    };
    support::RecordingLog log;
    support::TestClock clock;
    support::LocalDistributedCenter center;
    platform::NotificationCenter localCenter;
    daemon_client::TSyncClient client({connections, center, localCenter, log, clock});
    EXPECT_EQ(client.remoteSnapshot(), nullptr);
    EXPECT_EQ(client.getSyncStatus(), std::nullopt);
    connections.reply = valueReply(Dictionary{{"status", "s"}});
    failures = 0;
    EXPECT_NE(client.getSyncStatus(), std::nullopt);
    failures = 10'000 - 1;
    EXPECT_NE(client.getSyncStatus(), std::nullopt) << "the last one stands";
    connections.reply = valueReply("/cache");
    EXPECT_THROW(client.uploadingDir(), platform::IPCError);
    EXPECT_THROW(client.linkForSharingFile("/a", false), platform::IPCError);
    EXPECT_THROW(client.syncPath("/a"), platform::IPCError);
    EXPECT_TRUE(clock.slept.empty());
    EXPECT_EQ(client.cacheDir(), "/cache");
    EXPECT_EQ(clock.slept.size(), 10'000U - 5U);
    EXPECT_EQ(clock.slept.back(), std::chrono::seconds(2));
    client.invalidateSession();
    client.connect();
    failures = 10'000;
    clock.slept.clear();
    client.close();
    EXPECT_EQ(clock.slept.size(), 10'000U);
    EXPECT_EQ(clock.slept.back(), std::chrono::seconds(2));
}

} // namespace
