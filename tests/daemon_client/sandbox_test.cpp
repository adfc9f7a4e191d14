// The client against the real stand-in daemon: every message of the protocol, with what it does to real
// files. And against daemons that fail in each way they can.
#include "backends/dbus/name_owner.h"
#include "platform/FileAttributes.h"
#include "protocol/messages.h"
#include "protocol/names.h"
#include "tests/support/BusClient.h"
#include "tests/support/Programs.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <optional>
#include <set>

namespace {

namespace fs = std::filesystem;
using daemon_client::SyncPathTable;
using daemon_client::TSyncClient;
using platform::Array;
using platform::Dictionary;
using platform::Reply;
using platform::ReplyHandler;
using platform::Value;
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

class Sandbox : public support::BusClient {
  protected:
    fs::path folder;
    std::optional<support::Program> program;

    void SetUp() override {
        support::BusClient::SetUp();
        std::string name = (fs::temp_directory_path() / "client-sandbox-XXXXXX").string();
        folder = fs::canonical(::mkdtemp(name.data()));
        write("docs/a.txt", "one");
        write("docs/sub/b.txt", "four");
        fs::create_directory(folder / "out");
    }
    void TearDown() override {
        program.reset();
        fs::remove_all(folder);
        support::BusClient::TearDown();
    }

    void startSandbox(const std::vector<std::string>& more = {}) {
        std::vector<std::string> words{SANDBOX_PROGRAM, "--space",     path("space"), "--state",
                                       path("state"),   "--log-level", "error"};
        words.insert(words.end(), more.begin(), more.end());
        std::promise<void> isThere;
        const auto start = center.addObserver(TSYNC_NOTE_START, [&](const auto&) { isThere.set_value(); });
        program.emplace(words);
        ASSERT_EQ(isThere.get_future().wait_for(support::deadline), std::future_status::ready);
        connect();
    }
    std::string path(std::string_view name) const { return (folder / name).string(); }
    std::string write(std::string_view name, std::string_view content) const {
        fs::create_directories((folder / name).parent_path());
        std::ofstream(folder / name, std::ios::binary) << content;
        return path(name);
    }
    std::string contentOf(std::string_view name) const {
        if (!fs::is_regular_file(folder / name)) return {};
        std::ifstream stream(folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    bool becomes(std::string_view name, std::string_view content) const {
        return support::eventually([&] { return contentOf(name) == content; });
    }
    bool comesToRest() {
        return support::eventually([&] { return client->allPendingOperations() == Array{}; });
    }
    Reply ask(std::string_view message, const Array& arguments = {}) {
        std::promise<Reply> answer;
        client->send(message, arguments, [&answer](Reply reply) { answer.set_value(std::move(reply)); });
        return answer.get_future().get();
    }
};

TEST_F(Sandbox, DoesWhatEveryMessageOfTheProtocolSays) {
    startSandbox();
    bool isBase = false;
    struct Step {
        std::vector<std::string> messages;
        std::function<void()> check;
    };
    const std::vector<Step> steps{
        {{"addSyncPath:withLocalSyncPath:"},
         [&] {
             client->addSyncPath("/Space/Docs", path("docs"));
             EXPECT_TRUE(becomes("space/Space/Docs/sub/b.txt", "four"));
         }},
        {{"allPathsInSync:", "getSyncStatus:", "close"},
         [&] {
             client->close();
             EXPECT_TRUE(support::eventually([&] {
                 return client->getSyncStatus() == Dictionary{{"status", "syncStatusCompleted"}};
             })) << "the daemon stays";
             EXPECT_EQ(*client->allPathsInSync(), (SyncPathTable{{"/Space/Docs", path("docs")}}));
         }},
        {{"directoriesAtPath:withReply:", "directoriesNotInSyncAtRemoteDirecory:withReply:",
          "countDirectoriesAtPath:withReply:", "contentOfDirectoryAtPath:onlyFile:recoursive:withReply:"},
         [&] {
             EXPECT_THAT(*client->directoriesAtPath("/Space"), testing::ElementsAre("/Space/Docs"));
             EXPECT_THAT(*client->directoriesNotInSyncAtRemoteDirecory("/Space"), IsEmpty());
             EXPECT_THAT(*client->directoriesNotInSyncAtRemoteDirecory("/"), testing::ElementsAre("/Space"));
             EXPECT_EQ(client->countDirectoriesAtPath("/Space/Docs"), 1U);
             const auto list = [&](bool onlyFile, bool recoursive) {
                 std::string paths;
                 const auto items = client->contentOfDirectoryAtPath("/Space/Docs", onlyFile, recoursive);
                 for (const Value& item : items.value())
                     paths += *item.dictionary()->at("DirSnapshotNodePathKey").string() + " ";
                 return paths;
             };
             EXPECT_EQ(list(false, false), "/Space/Docs/a.txt /Space/Docs/sub ");
             EXPECT_EQ(list(true, false), "/Space/Docs/a.txt ");
             EXPECT_EQ(list(false, true), "/Space/Docs/a.txt /Space/Docs/sub /Space/Docs/sub/b.txt ");
             EXPECT_EQ(client->contentOfDirectoryAtPath("/Space/Docs/a.txt", false, false), std::nullopt);
         }},
        {{"remoteFileInfo:withReply:", "linkForSharingFile:isDirectory:withReply:",
          "sendSharingFileByEmail:isDirectory:atEmail:withReply:"},
         [&] {
             const Dictionary info = client->remoteFileInfo("/Space/Docs/sub/b.txt").value();
             EXPECT_EQ(info.at(platform::NSFileSize), Value(4));
             EXPECT_EQ(info.at(platform::NSFileType), Value(platform::NSFileTypeRegular));
             EXPECT_EQ(client->linkForSharingFile("/Space/Docs", true), "file://" + path("space/Space/Docs"));
             EXPECT_EQ(client->linkForSharingFile("/Space/Docs", false), std::nullopt);
             EXPECT_TRUE(client->sendSharingFileByEmail("/Space", true, std::vector<std::string>{"a@b.c"}));
             EXPECT_EQ(contentOf("state/outbox.jsonl"),
                       "{\"isDir\":true,\"path\":\"/Space\",\"recipients\":[\"a@b.c\"]}\n");
         }},
        {{"renameFile:toNewFilepath:", "deleteFile:trash:", "restoreFile:"},
         [&] {
             write("space/Box/two", "2");
             write("space/Box/x/one", "1");
             client->renameFile("/Box/x", "/Box/y/z");
             client->deleteFile("/Box", true);
             EXPECT_TRUE(support::eventually([&] { return !fs::exists(folder / "space/Box"); }));
             client->restoreFile("/Box/y/z/one"); // out of the folder that went
             EXPECT_TRUE(becomes("space/Box/y/z/one", "1"));
             client->deleteFile("/Box/y", false);
             client->restoreFile("/Box");
             EXPECT_TRUE(support::eventually([&] { return contentOf("space/Box (2)/two") == "2"; }));
             EXPECT_TRUE(fs::is_empty(folder / "space/Box"));
         }},
        {{"downloadFile:toDirectory:", "cacheFile:withOperationOptions:", "cacheDir:", "cacheDir",
          "uploadingDir:", "uploadingDir"},
         [&] {
             client->downloadFile("/Space/Docs", path("out"));
             client->downloadFile("/Space/Docs/a.txt", path("out"));
             client->downloadFile("/Space/Docs/a.txt", path("out"));
             client->cacheFile("/Space/Docs/a.txt", Dictionary{{"any", true}});
             EXPECT_TRUE(becomes("state/cache/Space/Docs/a.txt", "one"));
             EXPECT_EQ(contentOf("out/a (2).txt") + contentOf("out/Docs/sub/b.txt"), "onefour");
             EXPECT_EQ(client->cacheDir(), path("state/cache"));
             EXPECT_EQ(ask("cacheDir").value, Value(path("state/cache")));
             EXPECT_EQ(client->uploadingDir(), path("state/uploading"));
             EXPECT_EQ(ask("uploadingDir").value, Value(path("state/uploading")));
         }},
        {{"pauseUploadingFSEvent", "resumeUploadingFSEvent", "pauseCacheFSEvent", "resumeCacheFSEvent",
          "pauseFSEventOnPath:", "resumeFSEventOnPath:", "localSnapshotChanged:NoRecursive:", "syncPath:"},
         [&] {
             write("state/cache/last", "last"); // behind the event of the copy that was cached
             EXPECT_TRUE(becomes("space/last", "last") && comesToRest());
             client->pauseUploadingFSEvent();
             client->pauseCacheFSEvent();
             client->pauseFSEventOnPath(path("docs/sub"));
             client->getSyncStatus(); // acted on in order
             write("state/uploading/New/dropped", "dropped");
             write("state/cache/Space/Docs/a.txt", "edited");
             write("docs/sub/b.txt", "changed");
             write("docs/marker", "marker"); // the last event of the four
             EXPECT_TRUE(becomes("space/Space/Docs/marker", "marker"));
             EXPECT_FALSE(fs::exists(folder / "space/New"));
             EXPECT_EQ(contentOf("space/Space/Docs/a.txt"), "one");
             EXPECT_EQ(contentOf("space/Space/Docs/sub/b.txt"), "four");
             client->localSnapshotChanged(path("docs/sub"), true);
             EXPECT_TRUE(becomes("space/Space/Docs/sub/b.txt", "changed")) << "what is asked for is no event";
             write("docs/sub/b.txt", "again");
             client->syncPath("/Space");
             EXPECT_TRUE(becomes("space/Space/Docs/sub/b.txt", "again"));
             write("docs/sub/b.txt", "at last");
             client->resumeUploadingFSEvent();
             client->resumeCacheFSEvent();
             client->resumeFSEventOnPath(path("docs/sub"));
             EXPECT_TRUE(becomes("space/New/dropped", "dropped"));
             EXPECT_TRUE(becomes("space/Space/Docs/a.txt", "edited"));
             EXPECT_TRUE(becomes("space/Space/Docs/sub/b.txt", "at last"));
             EXPECT_TRUE(support::eventually([&] { return fs::is_empty(folder / "state/uploading"); }));
         }},
        {{"excludeSyncPath:", "includeSyncPath:", "isRemotePathExcluded:isBasePathOfExclusion:withReply:",
          "isLocalPathExcluded:isBasePathOfExclusion:withReply:"},
         [&] {
             client->excludeSyncPath("/Space/Docs/tmp");
             EXPECT_TRUE(client->isRemotePathExcluded("/Space/Docs/tmp/", isBase) && isBase);
             EXPECT_TRUE(client->isRemotePathExcluded("/Space/Docs/tmp/x", isBase) && !isBase);
             EXPECT_TRUE(client->isLocalPathExcluded(path("docs/tmp"), isBase) && isBase);
             EXPECT_TRUE(client->isLocalPathExcluded(path("docs/.npm"), isBase) && isBase);
             EXPECT_TRUE(client->isLocalPathExcluded(path("docs/.npm/x"), isBase) && !isBase);
             EXPECT_FALSE(client->isLocalPathExcluded(path("docs/a.txt"), isBase) || isBase);
             client->includeSyncPath("/Space/Docs/tmp");
             EXPECT_FALSE(client->isRemotePathExcluded("/Space/Docs/tmp", isBase));
         }},
        {{"pause", "resumeSync", "copyLocalFile:toRemoteDestination:", "moveLocalFile:toRemoteDestination:",
          "pendingOperationOnPath:withReply:", "pendingOperationOnRemotePath:withReply:",
          "allPendingOperations:"},
         [&] {
             EXPECT_TRUE(comesToRest()); // after the look that including began
             client->pause();
             client->copyLocalFile(write("out/x", "copied"), "/In");
             client->moveLocalFile(write("out/more/x", "moved"), "/In");
             EXPECT_TRUE(client->pendingOperationOnPath(path("out/more/x")));
             EXPECT_TRUE(client->pendingOperationOnRemotePath("/In/x"));
             EXPECT_FALSE(client->pendingOperationOnRemotePath("/Space/Docs/a.txt"));
             EXPECT_EQ(client->statusOfFileAtPath(path("out/x")), 2);
             EXPECT_EQ(client->statusOfFileAtPath(path("out/a.txt")), 1);
             EXPECT_EQ(client->allPendingOperations().value().front(),
                       Value(Dictionary{
                           {"operation", "copy"}, {"localPath", path("out/x")}, {"remotePath", "/In/x"}}));
             client->resume();
             EXPECT_TRUE(becomes("space/In/x", "copied") && becomes("space/In/x (2)", "moved"));
             EXPECT_TRUE(support::eventually([&] { return !fs::exists(folder / "out/more/x"); }));
         }},
        {{"remoteSnapshot:", "removeSyncPath:", "setPasswd:"},
         [&] {
             const auto snapshot = client->remoteSnapshot();
             ASSERT_TRUE(snapshot && snapshot->loaded());
             EXPECT_EQ(snapshot->attributesOfItemAtPath("/In/x").value().at(platform::NSFileSize), Value(6));
             EXPECT_FALSE(snapshot->attributesOfItemAtPath("/.tsyncquenz-sandbox"));
             client->removeSyncPath("/Space/Docs");
             EXPECT_EQ(ask("allPathsInSync:").value, Value(Dictionary{}));
             EXPECT_EQ(ask("setPasswd:", {"secret"}).value, Value()) << "its end, without a value";
             EXPECT_EQ(ask("removeSyncPath:", {"/Space/Docs"}).kind, Reply::Kind::noReply) << "refused";
         }},
    };
    std::set<std::string> served;
    for (const Step& step : steps) {
        SCOPED_TRACE(step.messages.front());
        step.check();
        served.insert(step.messages.begin(), step.messages.end());
    }
    for (const protocol::Message& message : protocol::messages)
        EXPECT_TRUE(served.contains(std::string(message.name))) << message.name;
}

TEST_F(Sandbox, FollowsWhatHappensInALocalRootAndWritesAFlatSnapshot) {
    startSandbox({"--snapshot", "flat", "--start", path("docs"), "/D"});
    ASSERT_TRUE(becomes("space/D/sub/b.txt", "four"));
    write("docs/new/deep/c", "c");
    EXPECT_TRUE(becomes("space/D/new/deep/c", "c"));
    write("docs/new/deep/d", "d"); // in a folder that is watched only since a moment
    EXPECT_TRUE(becomes("space/D/new/deep/d", "d"));
    write("other/c", "other");
    fs::rename(folder / "docs/new", folder / "docs/moved");
    fs::rename(folder / "other", folder / "docs/new"); // another folder takes the name
    EXPECT_TRUE(becomes("space/D/moved/deep/d", "d") && becomes("space/D/new/c", "other"));
    EXPECT_TRUE(support::eventually([&] { return !fs::exists(folder / "space/D/new/deep"); }));
    fs::remove_all(folder / "docs/sub");
    write("docs/sub", "now a file");
    fs::create_directory(folder / "docs/Caches"); // never synced
    write("docs/Caches/x", "x");
    fs::remove(folder / "docs/a.txt");
    EXPECT_TRUE(becomes("space/D/sub", "now a file"));
    EXPECT_TRUE(support::eventually([&] { return !fs::exists(folder / "space/D/a.txt"); }));
    EXPECT_FALSE(fs::exists(folder / "space/D/Caches"));

    const auto snapshot = client->remoteSnapshot();
    EXPECT_TRUE(snapshot && snapshot->attributesOfItemAtPath("/D/moved/deep/c"));
    EXPECT_TRUE(fs::exists(folder / "state/remote-snapshot"));

    // What is deleted while no daemon runs is known from the snapshot that it left; the trash keeps it.
    EXPECT_EQ(program->end(SIGTERM), 0);
    fs::remove(folder / "docs/moved/deep/c");
    startSandbox();
    EXPECT_TRUE(support::eventually([&] { return !fs::exists(folder / "space/D/moved/deep/c"); }));
    client->restoreFile("/D/moved/deep/c");
    EXPECT_TRUE(becomes("space/D/moved/deep/c", "c"));
    // A root that is not there deletes nothing.
    fs::rename(folder / "docs", folder / "away");
    fs::create_directory(folder / "docs");
    client->syncPath("/D");
    client->copyLocalFile(path("away/sub"), "/");
    EXPECT_TRUE(becomes("space/sub", "now a file")) << "behind the look at the pair";
    EXPECT_EQ(contentOf("space/D/sub"), "now a file");
}

using Badly = support::BusClient;

TEST_F(Badly, NothingIsMadeUpWhenADaemonIsAbsentRefusesHasNothingOrDies) {
    connect();
    EXPECT_THAT(wrongNegatives(*client), IsEmpty()) << "absent";
    for (const Reply::Kind kind : {Reply::Kind::none, Reply::Kind::noReply}) {
        const support::TestDaemon daemon([kind](std::string_view, const Array&, const ReplyHandler& handler) {
            handler({kind, {}, std::nullopt});
        });
        EXPECT_THAT(wrongNegatives(*client), IsEmpty()) << (kind == Reply::Kind::none ? "none" : "an error");
    }
    // Dies at each message, as by a crash in between: its name goes, and nothing answers.
    const std::string space = (fs::temp_directory_path() / "client-dying-space").string();
    for (const char* message : {"cacheDir:", "remoteSnapshot:", "allPendingOperations:"}) {
        support::Program dying({SANDBOX_PROGRAM, "--space", space, "--state", space + "-state", "--die-after",
                                "0", "--log-level", "error"});
        std::promise<Reply::Kind> answer;
        EXPECT_TRUE(support::eventually(
            [&] { return !backends::dbus::nameOwner(notifications, TSYNC_SERVICE_NAME).empty(); }));
        client->send(message, {}, [&answer](const Reply& reply) { answer.set_value(reply.kind); });
        EXPECT_EQ(answer.get_future().get(), Reply::Kind::noReply) << message;
        EXPECT_EQ(dying.end(0), EXIT_FAILURE);
    }
    fs::remove_all(space);
    fs::remove_all(space + "-state");
}

TEST_F(Badly, AnswersOfWrongTypesAreNone) {
    backends::dbus::Bus bus("liar");
    const auto object = sdbus::createObject(bus.connection(), TSYNC_OBJECT_PATH);
    for (const protocol::Message& message : protocol::messages) {
        if (message.reply.empty()) continue;
        object->registerMethod(TSYNC_INTERFACE, std::string(message.member), std::string(message.arguments),
                               "d", [](sdbus::MethodCall call) {
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
}

TEST_F(Badly, TheBoundOfTheWaitEndsTheShortRequestsAndALateReplyChangesNothing) {
    std::mutex lock;
    std::vector<ReplyHandler> held; // guarded by lock
    support::TestDaemon daemon([&](std::string_view, const Array&, ReplyHandler handler) {
        const std::lock_guard guard(lock);
        held.push_back(std::move(handler));
    });
    connect();
    std::vector<std::thread> waiting;
    waiting.emplace_back([&] { EXPECT_EQ(client->getSyncStatus(), std::nullopt); });
    waiting.emplace_back([&] { EXPECT_EQ(client->directoriesNotInSyncAtRemoteDirecory("/"), std::nullopt); });
    waiting.emplace_back([&] { EXPECT_EQ(client->countDirectoriesAtPath("/"), 0U); });
    for (std::thread& thread : waiting)
        thread.join();
    // Answered and let go without the lock: both take the bus library's own.
    std::vector<ReplyHandler> late;
    {
        const std::lock_guard guard(lock);
        late.swap(held);
    }
    for (const ReplyHandler& handler : late)
        handler({Reply::Kind::value, std::uint64_t{3}, std::nullopt});
    late.clear();
    EXPECT_EQ(client->countDirectoriesAtPath("/"), 0U);
    const std::lock_guard guard(lock);
    late.swap(held);
}

TEST_F(Badly, TwoThreadsThatMissACacheAtOnceBothAskAndOneAnswerStands) {
    std::mutex lock;
    std::vector<ReplyHandler> asked; // guarded by lock
    support::TestDaemon daemon([&](std::string_view message, const Array&, ReplyHandler handler) {
        if (message != "cacheDir:") return handler({Reply::Kind::none, {}, std::nullopt});
        const std::lock_guard guard(lock);
        asked.push_back(std::move(handler));
        if (asked.size() < 2) return;
        asked[0]({Reply::Kind::value, "/one", std::nullopt});
        asked[1]({Reply::Kind::value, "/two", std::nullopt});
    });
    connect();
    ASSERT_TRUE(log.waitFor("All Paths in Sync: (null)"));
    replies.dispatchAndWait([] {}); // that table empties the cache
    std::set<std::string> answers;
    std::thread other([&] {
        const auto answer = client->cacheDir();
        const std::lock_guard guard(lock);
        answers.insert(answer.value_or(""));
    });
    const auto mine = client->cacheDir();
    other.join();
    answers.insert(mine.value_or(""));
    EXPECT_THAT(answers, testing::UnorderedElementsAre("/one", "/two"));
    EXPECT_TRUE(answers.contains(client->cacheDir().value_or("")));
    EXPECT_EQ(asked.size(), 2U) << "the third time it was remembered";
    asked.clear();
}

} // namespace
