// The client on a real bus: daemons that are there, late, silent, dying, refusing and lying.
#include "protocol/messages.h"
#include "protocol/names.h"
#include "tests/support/BusClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

using daemon_client::SyncPathTable;
using platform::Array;
using platform::Dictionary;
using platform::Reply;
using platform::ReplyHandler;
using platform::Value;
using support::TestDaemon;
using support::valueReply;

class ClientTest : public support::BusClient {
  protected:
    // Answers the table and the status; every other message gets "no value".
    static TestDaemon::Answer usual(Dictionary table) {
        return [table](std::string_view message, const Array&, const ReplyHandler& handler) {
            if (message == "allPathsInSync:")
                handler(valueReply(table));
            else if (message == "getSyncStatus:")
                handler(valueReply(Dictionary{{"status", "syncStatusScanning"}}));
            else
                handler({Reply::Kind::none, {}, std::nullopt});
        };
    }
};

TEST_F(ClientTest, IsConnectedWithoutADaemonAndAnswersNone) {
    connect();
    EXPECT_TRUE(client->daemonIsReady());
    EXPECT_EQ(client->allPathsInSync(), nullptr);
    EXPECT_EQ(client->getSyncStatus(), std::nullopt);
    EXPECT_EQ(log.count("TSynClinet Daemon is Ready"), 1U);
    client->connect();
    EXPECT_EQ(log.count("TSyncClient: daemon connected!"), 1U) << "a connected client does nothing more";
    client->pause(); // nobody hears it, nothing is raised
}

TEST_F(ClientTest, TakesTheTableAndTheStatusFromTheDaemon) {
    TestDaemon daemon(usual({{"/Space/Docs", "/home/u/Docs"}, {"/Other", "/mnt"}}));
    connect();
    ASSERT_TRUE(log.waitFor("All Paths in Sync: {\"/Other\":\"/mnt\",\"/Space/Docs\":\"/home/u/Docs\"}"));
    client->getSyncStatus(); // the reply queue runs in order: the table stands now
    ASSERT_NE(client->allPathsInSync(), nullptr);
    EXPECT_EQ(client->remotePathOfLocalSyncPath("/home/u/Docs/a/b"), "/Space/Docs/a/b");
    EXPECT_EQ(client->localSyncPathOfRemotePath("/Space/Docs//a/"), "/home/u/Docs/a");
    EXPECT_EQ(client->remotePathOfLocalSyncPath(std::nullopt), std::nullopt);
    EXPECT_EQ(client->getSyncStatus(), (Dictionary{{"status", "syncStatusScanning"}}));
    client->pause();
    client->resume();
    EXPECT_TRUE(daemon.waitFor("pause"));
    EXPECT_TRUE(daemon.waitFor("resumeSync"));
    client->close();
    EXPECT_TRUE(daemon.waitFor("close"));
    client->close(); // not connected any more: sends nothing, ends at once
    EXPECT_TRUE(client->daemonIsReady());
    EXPECT_TRUE(daemon.waitFor("allPathsInSync:", 2)) << "the next request connects again";
}

TEST_F(ClientTest, NoneClearsTheTableAndAnErrorKeepsIt) {
    std::atomic<int> asked = 0;
    TestDaemon daemon([&](std::string_view message, const Array&, const ReplyHandler& handler) {
        if (message != "allPathsInSync:") return handler({});
        switch (++asked) {
        case 1:
            return handler(valueReply(Dictionary{{"/R", "/r"}}));
        case 2:
            return handler({});
        default:
            return handler({Reply::Kind::none, {}, std::nullopt});
        }
    });
    const auto reconnect = [&] {
        client->invalidateSession();
        client->connect();
        client->getSyncStatus(); // answered after the table, on the same queue
    };
    connect();
    client->getSyncStatus();
    EXPECT_NE(client->allPathsInSync(), nullptr);
    reconnect();
    EXPECT_NE(client->allPathsInSync(), nullptr);
    reconnect();
    EXPECT_EQ(client->allPathsInSync(), nullptr);
    EXPECT_EQ(log.count("All Paths in Sync: (null)"), 1U);
}

TEST_F(ClientTest, EndsTheWaitWhenTheDaemonDiesAndForgetsALateReply) {
    std::mutex lock;
    std::vector<ReplyHandler> held; // guarded by lock: calls that are not answered
    const auto hold = [&](std::string_view message, const Array&, ReplyHandler handler) {
        const std::lock_guard guard(lock);
        if (message == "getSyncStatus:") held.push_back(std::move(handler));
    };
    // Let go of and answered without the lock: both take the bus library's own.
    const auto takeHeld = [&] {
        const std::lock_guard guard(lock);
        return std::exchange(held, {});
    };
    auto daemon = std::make_unique<TestDaemon>(hold);
    connect();
    std::thread killer([&] {
        daemon->waitFor("getSyncStatus:");
        takeHeld(); // an open call keeps its connection
        daemon.reset();
    });
    EXPECT_EQ(client->getSyncStatus(), std::nullopt);
    killer.join();

    // A daemon that answers only after the client has stopped waiting.
    TestDaemon second(hold);
    EXPECT_EQ(client->getSyncStatus(), std::nullopt) << "the bound of the wait ends it";
    const auto open = takeHeld();
    ASSERT_EQ(open.size(), 1U);
    open.front()(valueReply(Dictionary{{"status", "late"}}));
    EXPECT_EQ(client->getSyncStatus(), std::nullopt);
}

TEST_F(ClientTest, TreatsAnAnswerOfAWrongTypeAsNone) {
    // A liar: it owns the name and answers the table with a number.
    backends::dbus::Bus bus("liar");
    const auto object = sdbus::createObject(bus.connection(), TSYNC_OBJECT_PATH);
    std::atomic<int> calls = 0;
    for (const char* method : {"allPathsInSync_", "getSyncStatus_"})
        object->registerMethod(TSYNC_INTERFACE, method, "", "t", [&](sdbus::MethodCall call) {
            auto reply = call.createReply();
            reply << std::uint64_t{7};
            reply.send();
            ++calls;
        });
    object->finishRegistration();
    bus.start([] {});
    bus.connection().requestName(TSYNC_SERVICE_NAME);
    connect();
    EXPECT_EQ(client->getSyncStatus(), std::nullopt);
    EXPECT_EQ(client->allPathsInSync(), nullptr);
    EXPECT_EQ(calls, 2);
}

TEST_F(ClientTest, FollowsNotificationsAndTheDeathOfTheDaemonOnceBound) {
    auto daemon = std::make_unique<TestDaemon>(usual({{"/R", "/r"}}));
    connect();
    client->getSyncStatus();
    client->bindTSyncQuenzNotification();
    client->bindTSyncQuenzNotification();
    std::mutex lock;
    std::condition_variable changed;
    std::vector<std::string> seen;
    const auto see = [&](const platform::Notification& notification) {
        const std::lock_guard guard(lock);
        seen.push_back(notification.name);
        changed.notify_all();
    };
    const auto added = center.addObserver(TSYNC_NOTE_SYNC_PATH_ADDED, see);
    const auto removed = center.addObserver(TSYNC_NOTE_SYNC_PATH_REMOVED, see);
    const auto stopped = center.addObserver(TSYNC_NOTE_STOP, see);
    const auto waitForSeen = [&](std::size_t count) {
        std::unique_lock guard(lock);
        return changed.wait_for(guard, support::deadline, [&] { return seen.size() >= count; });
    };
    center.post({TSYNC_NOTE_SYNC_PATH_ADDED, std::nullopt, {{"remotePath", "/N"}, {"localPath", "/n"}}});
    center.post({TSYNC_NOTE_SYNC_PATH_ADDED, std::nullopt, {{"remotePath", "/N"}, {"localPath", "/m"}}});
    center.post({TSYNC_NOTE_SYNC_PATH_ADDED, std::nullopt, {{"remotePath", "/R"}}}); // none: it goes
    center.post({TSYNC_NOTE_SYNC_PATH_ADDED, std::nullopt, {{"localPath", "/x"}}});
    center.post({TSYNC_NOTE_SYNC_PATH_REMOVED, std::nullopt, {{"remotePath", Value(3)}}});
    ASSERT_TRUE(waitForSeen(5));
    const auto becomes = [&](const SyncPathTable& table) {
        return support::eventually([&] { return *client->allPathsInSync() == table; });
    };
    EXPECT_TRUE(becomes({{"/N", "/m"}}));
    center.post({TSYNC_NOTE_SYNC_PATH_REMOVED, std::nullopt, {{"remotePath", "/N"}}});
    EXPECT_TRUE(becomes({}));
    ASSERT_TRUE(waitForSeen(6));

    daemon.reset();
    ASSERT_TRUE(waitForSeen(7));
    EXPECT_EQ(seen.back(), TSYNC_NOTE_STOP);
    daemon = std::make_unique<TestDaemon>(usual({{"/R", "/r"}}));
    EXPECT_NE(client->getSyncStatus(), std::nullopt) << "the next request connects to the new daemon";
    EXPECT_EQ(log.count("TSyncClient: daemon connected!"), 2U);
    daemon.reset();
    EXPECT_TRUE(waitForSeen(8)) << "the new connection is observed too";
}

TEST_F(ClientTest, SetsUpOneConnectionForManyThreads) {
    TestDaemon daemon(usual({{"/R", "/r"}}));
    connect();
    client->invalidateSession();
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] { EXPECT_TRUE(client->daemonIsReady()); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(log.count("TSyncClient: daemon connected!"), 2U);
}

TEST_F(ClientTest, SaysWhenThereIsNoBusAndConnectsOnceThereIs) {
    connect();
    sessionBus.stop();
    EXPECT_TRUE(support::eventually([&] {
        client->invalidateSession();
        client->connect();
        return log.lines().back().starts_with("Exception: ");
    })) << "once the bus thread has seen that the bus is gone";
    EXPECT_FALSE(client->daemonIsReady());
    EXPECT_EQ(client->remotePathOfLocalSyncPath("/r"), std::nullopt);
    support::PrivateBus next;
    EXPECT_TRUE(client->daemonIsReady());
}

// `close` and `cacheDir` go on for as long as sending fails, without growing the stack; the others do not.
TEST(ClientThatCannotSend, TriesAgainOrSaysSoAsEachRequestDoes) {
    struct Failing final : platform::RequestConnection {
        int failures = 10'000;
        void resume() override {}
        void suspend() override {}
        void invalidate() override {}
        std::string remoteObjectProxy() const override { return "<failing>"; }
        void send(std::string_view message, const Array&, std::chrono::milliseconds,
                  ReplyHandler handler) override {
            if (message == "allPathsInSync:") return;
            if (failures-- > 0) throw platform::IPCError("not now");
            handler(valueReply("/cache"));
        }
        void send(std::string_view, const Array&) override {
            if (failures-- > 0) throw platform::IPCError("not now");
        }
    };
    struct One final : platform::RequestConnectionFactory {
        std::shared_ptr<platform::RequestConnection> initWithServiceName(std::string_view) override {
            return std::make_shared<Failing>();
        }
    } connections;
    support::RecordingLog log;
    support::TestClock clock;
    support::LocalDistributedCenter center;
    platform::NotificationCenter localCenter;
    daemon_client::TSyncClient client({connections, center, localCenter, log, clock});
    EXPECT_EQ(client.remoteSnapshot(), nullptr);
    EXPECT_EQ(client.getSyncStatus(), std::nullopt);
    EXPECT_THROW(client.uploadingDir(), platform::IPCError);
    EXPECT_THROW(client.linkForSharingFile("/a", false), platform::IPCError);
    EXPECT_THROW(client.syncPath("/a"), platform::IPCError);
    EXPECT_TRUE(clock.slept.empty());
    EXPECT_EQ(client.cacheDir(), "/cache");
    EXPECT_EQ(clock.slept.size(), 10'000U - 5U);
    EXPECT_EQ(clock.slept.back(), std::chrono::seconds(2));
    client.invalidateSession();
    client.connect();
    clock.slept.clear();
    client.close();
    EXPECT_EQ(clock.slept.size(), 10'000U);
    EXPECT_EQ(clock.slept.back(), std::chrono::seconds(2));
}

} // namespace
