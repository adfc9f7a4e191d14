// The client against the real stand-in daemon: every message of the protocol, with what it does to real
// files.
#include "platform/file_attributes.h"
#include "protocol/names.h"
#include "tests/support/BusClient.h"
#include "tests/support/Programs.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <future>
#include <optional>

namespace {

namespace fs = std::filesystem;
using platform::Array;
using platform::Dictionary;
using platform::Reply;
using platform::Value;

class Sandbox : public support::BusClient {
  protected:
    support::TemporaryFolder folder;
    std::optional<support::Program> program;

    void SetUp() override {
        support::BusClient::SetUp();
        folder.write("docs/a.txt", "one");
        folder.write("docs/sub/b.txt", "four");
        fs::create_directory(folder / "out");
    }
    void TearDown() override {
        program.reset();
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
    std::string path(std::string_view name) const { return folder.path(name); }
    std::string write(std::string_view name, std::string_view content) const {
        return folder.write(name, content);
    }
    std::string contentOf(std::string_view name) const { return support::contentOf(folder / name); }
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

TEST_F(Sandbox, DoesWhatTheMessagesOfTheProtocolSay) {
    startSandbox();
    bool isBase = false;

    client->addSyncPath("/Space/Docs", path("docs"));
    EXPECT_TRUE(becomes("space/Space/Docs/sub/b.txt", "four"));

    client->close();
    EXPECT_TRUE(support::eventually([&] {
        return client->getSyncStatus() == Dictionary{{"status", "syncStatusCompleted"}};
    })) << "the daemon stays";
    EXPECT_EQ(*client->allPathsInSync(), (daemon_client::SyncPathTable{{"/Space/Docs", path("docs")}}));

    EXPECT_THAT(*client->directoriesAtPath("/Space"), testing::ElementsAre("/Space/Docs"));
    EXPECT_THAT(*client->directoriesNotInSyncAtRemoteDirecory("/Space"), testing::IsEmpty());
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

    const Dictionary info = client->remoteFileInfo("/Space/Docs/sub/b.txt").value();
    EXPECT_EQ(info.at(platform::NSFileSize), Value(4));
    EXPECT_EQ(info.at(platform::NSFileType), Value(platform::NSFileTypeRegular));
    EXPECT_EQ(client->linkForSharingFile("/Space/Docs", true), "file://" + path("space/Space/Docs"));
    EXPECT_EQ(client->linkForSharingFile("/Space/Docs", false), std::nullopt);
    EXPECT_TRUE(client->sendSharingFileByEmail("/Space", true, std::vector<std::string>{"a@b.c"}));
    EXPECT_EQ(contentOf("state/outbox.jsonl"),
              "{\"isDir\":true,\"path\":\"/Space\",\"recipients\":[\"a@b.c\"]}\n");

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

    write("state/cache/last", "last"); // behind the event of the copy that was cached
    EXPECT_TRUE(becomes("space/last", "last") && comesToRest());
    client->pauseUploadingFSEvent();
    client->pauseCacheFSEvent();
    client->pauseFSEventOnPath(path("docs/sub"));
    client->getSyncStatus(); // acted on in order
    write("state/uploading/New/dropped", "dropped");
    write("state/cache/Space/Docs/a.txt", "edited");
    write("docs/sub/b.txt", "FOUR"); // of the same size, and mostly in the same second
    write("docs/subway", "beside");
    write("docs/marker", "marker"); // the last event of all
    EXPECT_TRUE(becomes("space/Space/Docs/marker", "marker"));
    EXPECT_TRUE(becomes("space/Space/Docs/subway", "beside")) << "not below the paused folder";
    client->pauseUploadingFSEvent(); // once more: what happened there is not forgotten
    EXPECT_FALSE(fs::exists(folder / "space/New"));
    EXPECT_EQ(contentOf("space/Space/Docs/a.txt"), "one");
    EXPECT_EQ(contentOf("space/Space/Docs/sub/b.txt"), "four");
    client->localSnapshotChanged(path("docs/sub"), true);
    EXPECT_TRUE(becomes("space/Space/Docs/sub/b.txt", "FOUR")) << "what is asked for is no event";
    write("docs/sub/b.txt", "deeply");
    client->localSnapshotChanged(path("docs"));
    EXPECT_TRUE(becomes("space/Space/Docs/sub/b.txt", "deeply"));
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
    write("docs/sub/after", "after");
    EXPECT_TRUE(becomes("space/Space/Docs/sub/after", "after"));
    EXPECT_TRUE(support::eventually([&] { return fs::is_empty(folder / "state/uploading"); }));

    client->excludeSyncPath("/Space/Docs/tmp");
    EXPECT_TRUE(client->isRemotePathExcluded("/Space/Docs/tmp/", isBase) && isBase);
    EXPECT_TRUE(client->isRemotePathExcluded("/Space/Docs/tmp/x", isBase) && !isBase);
    EXPECT_TRUE(client->isLocalPathExcluded(path("docs/tmp"), isBase) && isBase);
    EXPECT_TRUE(client->isLocalPathExcluded(path("docs/.npm"), isBase) && isBase);
    EXPECT_TRUE(client->isLocalPathExcluded(path("docs/.npm/x"), isBase) && !isBase);
    EXPECT_FALSE(client->isLocalPathExcluded(path("docs/a.txt"), isBase) || isBase);
    client->includeSyncPath("/Space/Docs/tmp");
    EXPECT_FALSE(client->isRemotePathExcluded("/Space/Docs/tmp", isBase));

    EXPECT_TRUE(comesToRest()); // after the look that including began
    client->pause();
    client->copyLocalFile(write("out/x", "copied"), "/In");
    client->moveLocalFile(write("out/more/x", "moved"), "/In");
    EXPECT_TRUE(client->pendingOperationOnPath(path("out/more/x")));
    EXPECT_TRUE(client->pendingOperationOnRemotePath("/In/x"));
    EXPECT_FALSE(client->pendingOperationOnRemotePath("/Space/Docs/a.txt"));
    write("docs/waiting", "waits to be looked at");
    EXPECT_TRUE(support::eventually([&] { return client->pendingOperationOnPath(path("docs/waiting")); }));
    EXPECT_EQ(client->statusOfFileAtPath(path("out/x")), 2);
    EXPECT_EQ(client->statusOfFileAtPath(path("out/a.txt")), 1);
    EXPECT_EQ(
        client->allPendingOperations().value().front(),
        Value(Dictionary{{"operation", "copy"}, {"localPath", path("out/x")}, {"remotePath", "/In/x"}}));
    client->resume();
    EXPECT_TRUE(becomes("space/In/x", "copied") && becomes("space/In/x (2)", "moved"));
    EXPECT_TRUE(support::eventually([&] { return !fs::exists(folder / "out/more/x"); }));

    const auto snapshot = client->remoteSnapshot();
    ASSERT_TRUE(snapshot && snapshot->loaded());
    EXPECT_EQ(snapshot->attributesOfItemAtPath("/In/x").value().at(platform::NSFileSize), Value(6));
    EXPECT_FALSE(snapshot->attributesOfItemAtPath("/.tsyncquenz-sandbox"));
    client->removeSyncPath("/Space/Docs");
    EXPECT_EQ(ask("allPathsInSync:").value, Value(Dictionary{}));
    EXPECT_EQ(ask("setPasswd:", {"secret"}).value, Value()) << "its end, without a value";
    EXPECT_EQ(ask("removeSyncPath:", {"/Space/Docs"}).kind, Reply::Kind::noReply) << "refused";
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

// As by a crash in between: the daemon's name goes, and nothing answers.
TEST_F(Sandbox, ADaemonThatDiesAtAMessageEndsTheWaitForIt) {
    for (const char* message : {"cacheDir:", "remoteSnapshot:", "allPendingOperations:"}) {
        startSandbox({"--die-after", "1"}); // the table comes first
        EXPECT_EQ(ask(message).kind, Reply::Kind::noReply) << message;
        EXPECT_EQ(program->end(0), EXIT_FAILURE);
    }
}

} // namespace
