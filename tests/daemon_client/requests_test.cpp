// Every request of the client on a real bus: what arrives at the daemon, and what becomes of its answer.
#include "tests/support/BusClient.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <map>

namespace {

using daemon_client::TSyncClient;
using platform::Array;
using platform::Dictionary;
using platform::Reply;
using platform::Value;
using support::valueReply;

class Requests : public support::BusClient {
  protected:
    std::mutex lock;
    std::map<std::string, Array, std::less<>> arguments; // of the last message of each name; under lock
    std::map<std::string, int, std::less<>> times;       // under lock
    std::map<std::string, Reply, std::less<>> answers;   // set before the daemon is asked; none otherwise

    support::TestDaemon daemon{[this](std::string_view message, const Array& values, auto handler) {
        const std::lock_guard guard(lock);
        arguments[std::string(message)] = values;
        ++times[std::string(message)];
        const auto answer = answers.find(message);
        handler(answer != answers.end() ? answer->second : Reply{Reply::Kind::none, {}, std::nullopt});
    }};

    void SetUp() override {
        support::BusClient::SetUp();
        connect();
        ASSERT_TRUE(log.waitFor("All Paths in Sync: (null)"));
    }
    void expectArrived(const char* message, const Array& values) {
        ASSERT_TRUE(daemon.waitFor(message)) << message;
        const std::lock_guard guard(lock);
        EXPECT_EQ(arguments[message], values) << message;
    }
};

TEST_F(Requests, WithoutAReplyArriveWithTheirArguments) {
    const Dictionary options{{"key", "value"}};
    const std::vector<std::tuple<const char*, std::function<void()>, Array>> cases = {
        {"syncPath:", [&] { client->syncPath("/a"); }, {"/a"}},
        {"cacheFile:withOperationOptions:", [&] { client->cacheFile("/a", options); }, {"/a", options}},
        {"deleteFile:trash:", [&] { client->deleteFile("/a", true); }, {"/a", true}},
        {"renameFile:toNewFilepath:", [&] { client->renameFile("/a", "/b"); }, {"/a", "/b"}},
        {"restoreFile:", [&] { client->restoreFile("/a"); }, {"/a"}},
        {"downloadFile:toDirectory:", [&] { client->downloadFile("/a", "/b"); }, {"/a", "/b"}},
        {"addSyncPath:withLocalSyncPath:", [&] { client->addSyncPath("/a", "/b"); }, {"/a", "/b"}},
        {"removeSyncPath:", [&] { client->removeSyncPath("/a"); }, {"/a"}},
        {"excludeSyncPath:", [&] { client->excludeSyncPath("/a"); }, {"/a"}},
        {"includeSyncPath:", [&] { client->includeSyncPath("/a"); }, {"/a"}},
        {"moveLocalFile:toRemoteDestination:", [&] { client->moveLocalFile("/a", "/b"); }, {"/a", "/b"}},
        {"copyLocalFile:toRemoteDestination:", [&] { client->copyLocalFile("/a", "/b"); }, {"/a", "/b"}},
        {"pauseUploadingFSEvent", [&] { client->pauseUploadingFSEvent(); }, {}},
        {"resumeUploadingFSEvent", [&] { client->resumeUploadingFSEvent(); }, {}},
        {"pauseCacheFSEvent", [&] { client->pauseCacheFSEvent(); }, {}},
        {"resumeCacheFSEvent", [&] { client->resumeCacheFSEvent(); }, {}},
        {"pauseFSEventOnPath:", [&] { client->pauseFSEventOnPath("/a"); }, {"/a"}},
        {"resumeFSEventOnPath:", [&] { client->resumeFSEventOnPath("/a"); }, {"/a"}},
        {"localSnapshotChanged:NoRecursive:", [&] { client->localSnapshotChanged("/a"); }, {"/a", false}}};
    client->syncPath(std::nullopt);
    client->renameFile("/a", std::nullopt);
    for (const auto& [message, send, values] : cases) {
        send();
        expectArrived(message, values);
    }
    const std::lock_guard guard(lock);
    EXPECT_EQ(times["syncPath:"], 1);
    EXPECT_EQ(times["renameFile:toNewFilepath:"], 1);
}

TEST_F(Requests, WithAReplyAnswerItsValueOrNone) {
    bool flag = true;
    EXPECT_EQ(client->linkForSharingFile("/a", false), std::nullopt);
    EXPECT_FALSE(client->isRemotePathExcluded("/a", flag));
    EXPECT_TRUE(flag) << "an answer of none leaves the flag alone";
    EXPECT_EQ(client->statusOfFileAtPath("/a"), 1);
    EXPECT_EQ(client->countDirectoriesAtPath("/a"), 0U);

    const Array names{"/a/x", "/a/y"};
    answers = {{"linkForSharingFile:isDirectory:withReply:", valueReply("file:///a")},
               {"sendSharingFileByEmail:isDirectory:atEmail:withReply:", valueReply(true)},
               {"isRemotePathExcluded:isBasePathOfExclusion:withReply:", {Reply::Kind::value, true, false}},
               {"isLocalPathExcluded:isBasePathOfExclusion:withReply:", {Reply::Kind::value, true, true}},
               {"pendingOperationOnPath:withReply:", valueReply(true)},
               {"pendingOperationOnRemotePath:withReply:", valueReply(true)},
               {"remoteFileInfo:withReply:", valueReply(Dictionary{{"size", 3}})},
               {"contentOfDirectoryAtPath:onlyFile:recoursive:withReply:", valueReply(names)},
               {"directoriesAtPath:withReply:", valueReply(names)},
               {"directoriesNotInSyncAtRemoteDirecory:withReply:", valueReply(names)},
               {"countDirectoriesAtPath:withReply:", valueReply(std::uint64_t{7})},
               {"allPendingOperations:", valueReply(names)}};
    EXPECT_EQ(client->linkForSharingFile("/a", true), "file:///a");
    expectArrived("linkForSharingFile:isDirectory:withReply:", {"/a", true});
    EXPECT_TRUE(client->sendSharingFileByEmail("/a", false, std::vector<std::string>{"a@b.c"}));
    expectArrived("sendSharingFileByEmail:isDirectory:atEmail:withReply:", {"/a", false, Array{"a@b.c"}});
    EXPECT_TRUE(client->isRemotePathExcluded("/a", flag));
    EXPECT_FALSE(flag);
    EXPECT_TRUE(client->isLocalPathExcluded("/a", flag));
    EXPECT_TRUE(flag);
    EXPECT_TRUE(client->pendingOperationOnPath("/a"));
    EXPECT_TRUE(client->pendingOperationOnRemotePath("/a"));
    EXPECT_EQ(client->statusOfFileAtPath("/a"), 2);
    EXPECT_EQ(client->remoteFileInfo("/a"), (Dictionary{{"size", 3}}));
    EXPECT_EQ(client->contentOfDirectoryAtPath("/a", true, false), names);
    expectArrived("contentOfDirectoryAtPath:onlyFile:recoursive:withReply:", {"/a", true, false});
    const std::vector<std::string> paths{"/a/x", "/a/y"};
    EXPECT_EQ(client->directoriesAtPath("/a"), paths);
    EXPECT_EQ(client->directoriesNotInSyncAtRemoteDirecory("/a"), paths);
    EXPECT_EQ(client->countDirectoriesAtPath("/a"), 7U);
    EXPECT_EQ(client->allPendingOperations(), names);
    EXPECT_EQ(client->linkForSharingFile(std::nullopt, true), std::nullopt);

    client->invalidateSession();
    EXPECT_EQ(client->countDirectoriesAtPath("/a"), 0U) << "it never connects";
    EXPECT_EQ(client->directoriesNotInSyncAtRemoteDirecory("/a"), std::nullopt);
    EXPECT_EQ(client->linkForSharingFile("/a", true), "file:///a") << "it connects";
}

TEST_F(Requests, RememberFoldersUntilTheNextTableAndTheSnapshotForGood) {
    EXPECT_EQ(client->uploadingDir(), std::nullopt);
    EXPECT_EQ(client->remoteSnapshot(), nullptr);
    std::string file = (std::filesystem::temp_directory_path() / "remote-XXXXXX").string();
    close(mkstemp(file.data()));
    std::ofstream(file) << "2|/f12|2|1|2|";
    answers = {{"uploadingDir:", valueReply("/up")},
               {"cacheDir:", valueReply("/cache")},
               {"remoteSnapshot:", valueReply(file)}};
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(client->uploadingDir(), "/up");
        EXPECT_EQ(client->cacheDir(), "/cache");
    }
    const auto snapshot = client->remoteSnapshot();
    ASSERT_NE(snapshot, nullptr);
    EXPECT_TRUE(snapshot->loaded());
    EXPECT_NE(snapshot->nodeAtFullpath("/f"), nullptr);
    client->invalidateSession();
    client->connect();
    ASSERT_TRUE(log.waitFor("All Paths in Sync: (null)", 2));
    replies.dispatchAndWait([] {}); // the reply that wrote the line has emptied the caches
    EXPECT_EQ(client->uploadingDir(), "/up");
    EXPECT_EQ(client->remoteSnapshot(), snapshot);
    const std::lock_guard guard(lock);
    EXPECT_EQ(times["uploadingDir:"], 3); // of none, before and after the second table
    EXPECT_EQ(times["cacheDir:"], 1);
    EXPECT_EQ(times["remoteSnapshot:"], 2);
    std::filesystem::remove(file);
}

} // namespace
