#include "backends/posix/SerialQueue.h"
#include "sandbox/Commands.h"
#include "sandbox/Requests.h"
#include "tests/sandbox/support.h"

namespace sandbox {
namespace {

using platform::Array;
using platform::Reply;
using platform::Value;

class RequestsTest : public testing::Test {
  protected:
    RequestsTest() { fs::create_directory(temporary / "docs"); }

    // The reply, or none when the message was left without an answer.
    std::optional<Reply> ask(Requests& requests, std::string_view message,
                             const platform::Array& arguments = {}) {
        std::optional<Reply> answer;
        requests.answer(message, arguments, [&answer](Reply reply) { answer = std::move(reply); });
        queue.dispatchAndWait([] {});
        slowQueue.dispatchAndWait([] {});
        return answer;
    }

    TemporaryFolder temporary;
    RecordingCenter center;
    SilentLog log;
    Daemon daemon{{temporary / "space", temporary / "state", {}}, center, log};
    backends::posix::SerialQueue queue{"requests-test"};
    backends::posix::SerialQueue slowQueue{"slow-test"};
};

TEST_F(RequestsTest, answersItsMessages) {
    Requests requests(daemon, {}, queue, slowQueue, log, [] { FAIL(); });
    for (const char* folder : {"space/Docs/in", "space/Other/in", "space/Third"})
        fs::create_directories(temporary / folder);
    daemon.start();
    daemon.startSync((temporary / "docs").string(), "/Docs");
    center.until("syncStatusScanning");
    center.until("syncStatusCompleted");
    const std::vector<std::tuple<std::string_view, platform::Array, Value>> cases{
        {"allPathsInSync:", {}, platform::Dictionary{{"/Docs", (temporary / "docs").string()}}},
        {"getSyncStatus:", {}, platform::Dictionary{{"status", "syncStatusCompleted"}}},
        {"directoriesNotInSyncAtRemoteDirecory:withReply:", {"/"}, platform::Array{"/Other", "/Third"}},
        {"directoriesNotInSyncAtRemoteDirecory:withReply:", {"/Other/"}, platform::Array{"/Other/in"}},
        {"directoriesNotInSyncAtRemoteDirecory:withReply:", {"/Docs"}, platform::Array{}},
        {"directoriesNotInSyncAtRemoteDirecory:withReply:", {}, platform::Array{}},
        {"countDirectoriesAtPath:withReply:", {"/"}, std::uint64_t{3}},
        {"countDirectoriesAtPath:withReply:", {"/../"}, std::uint64_t{0}},
        {"pause", {}, platform::Null{}},
        {"resumeSync", {}, platform::Null{}},
        {"close", {}, platform::Null{}},
    };
    for (const auto& [message, arguments, wanted] : cases) {
        const std::optional<Reply> reply = ask(requests, message, arguments);
        ASSERT_TRUE(reply) << message;
        EXPECT_EQ(reply->kind, Reply::Kind::value) << message;
        EXPECT_EQ(reply->value, wanted) << message;
    }
    EXPECT_EQ(ask(requests, "noSuchMessage:")->kind, Reply::Kind::noReply);
    requests.stop();
    EXPECT_FALSE(ask(requests, "close"));
}

// Paths that climb out, that lead out through a link, that name the space itself or no path at all: each is
// refused in one line, and nothing has changed anywhere.
TEST_F(RequestsTest, refusesHostilePathsWithOneLineEach) {
    struct ErrorLog final : platform::ProcessLog {
        bool isOn(platform::LogLevel level) const override { return level == platform::LogLevel::error; }
        void write(platform::LogLevel, std::string_view line) override { lines.emplace_back(line); }
        std::vector<std::string> lines;
    } errors;
    Daemon strict{{temporary / "strict", temporary / "strict-state", {}}, center, errors};
    Requests requests(strict, {}, queue, slowQueue, errors, [] { FAIL(); });
    const std::string out = (temporary / "outside").string();
    const std::string docs = (temporary / "docs").string();
    const std::string kept = temporary.write("outside/kept", "kept");
    temporary.write("strict/in", "in");
    fs::create_directory_symlink(out, temporary / "strict/link");
    const auto tree = [this] {
        std::vector<std::string> paths;
        for (const auto& entry : fs::recursive_directory_iterator(temporary / ""))
            paths.push_back(entry.path().string());
        std::sort(paths.begin(), paths.end());
        return paths;
    };
    const auto before = tree();
    const std::vector<Value> hostile{
        "/",     "",         "in",        "/../outside/kept",       "/in/../../outside/kept", "/link/kept",
        "/\xff", "/in/kept", Value(kept), "/.tsyncquenz-sandbox/x", std::string("/in\0", 4),  "/link/new"};
    std::vector<std::pair<std::string_view, Array>> cases;
    for (const Value& path : hostile) {
        for (const bool flag : {true, false}) {
            cases.push_back({"deleteFile:trash:", {path, flag}});
            cases.push_back({"linkForSharingFile:isDirectory:withReply:", {path, flag}});
        }
        cases.push_back({"renameFile:toNewFilepath:", {path, "/new"}});
        cases.push_back({"restoreFile:", {path}});
        cases.push_back({"downloadFile:toDirectory:", {path, docs}});
        cases.push_back({"cacheFile:withOperationOptions:", {path, platform::Dictionary{}}});
        cases.push_back({"includeSyncPath:", {path}});
        if (path != Value(kept)) cases.push_back({"renameFile:toNewFilepath:", {"/in", path}});
    }
    for (const char* target : {"/link", "/link/new", "..", "/.tsyncquenz-sandbox"}) {
        cases.push_back({"copyLocalFile:toRemoteDestination:", {kept, target}});
        cases.push_back({"moveLocalFile:toRemoteDestination:", {kept, target}});
        cases.push_back({"addSyncPath:withLocalSyncPath:", {target, docs}});
    }
    for (const std::string& directory :
         {std::string("relative"), kept, out + "/none", (temporary / "strict").string()})
        cases.push_back({"downloadFile:toDirectory:", {"/in", directory}});
    cases.push_back({"moveLocalFile:toRemoteDestination:", {"/", "/"}});
    cases.push_back({"localSnapshotChanged:NoRecursive:", {out, true}});
    cases.push_back({"pauseFSEventOnPath:", {"relative"}});
    cases.push_back({"syncPath:", {"/in"}});
    for (const auto& [message, arguments] : cases) {
        errors.lines.clear();
        const std::optional<Reply> reply = ask(requests, message, arguments);
        EXPECT_TRUE(reply && reply->kind != Reply::Kind::value)
            << message << platform::jsonDescription(arguments);
        EXPECT_EQ(errors.lines.size(), 1U) << message << platform::jsonDescription(arguments);
    }
    for (const Value& path : hostile)
        EXPECT_EQ(ask(requests, "directoriesAtPath:withReply:", {path})->value.array()->size(), 0U)
            << platform::jsonDescription(path);
    EXPECT_EQ(ask(requests, "contentOfDirectoryAtPath:onlyFile:recoursive:withReply:", {"/link", false, true})
                  ->kind,
              Reply::Kind::none);
    EXPECT_EQ(tree(), before);
    EXPECT_EQ(contentOf(kept) + contentOf(temporary / "strict/in"), "keptin");
}

TEST_F(RequestsTest, misbehavesAsTold) {
    int deaths = 0;
    Requests requests(daemon, {.latency = {}, .silent = {"getSyncStatus:"}, .diesAfter = 2}, queue, slowQueue,
                      log, [&deaths] { ++deaths; });
    EXPECT_FALSE(ask(requests, "getSyncStatus:"));
    EXPECT_TRUE(ask(requests, "allPathsInSync:"));
    EXPECT_EQ(deaths, 0);
    EXPECT_FALSE(ask(requests, "allPathsInSync:"));
    EXPECT_EQ(deaths, 1);
}

TEST_F(RequestsTest, actsOnCommandMessagesAndSurvivesMalformedOnes) {
    const Commands commands(daemon, center, queue, log);
    const auto send = [this](const char* name, std::optional<std::string> object) {
        center.post({name, std::move(object), {}});
        queue.dispatchAndWait([] {});
    };
    const std::string docs = (temporary / "docs").string();
    for (const std::optional<std::string>& object : std::vector<std::optional<std::string>>{
             std::nullopt, "", "[]", "{\"remotePath\":\"/Docs\"}",
             "{\"localPath\":7,\"remotePath\":\"/Docs\"}", std::string(100000, '[')})
        send("kTFinderSyncTSyncStart", object);
    EXPECT_TRUE(daemon.allPathsInSync().empty());
    send("kTFinderSyncTSyncStart", "{\"localPath\":\"" + docs + "\",\"remotePath\":\"/Docs\"}");
    EXPECT_EQ(daemon.allPathsInSync(), (platform::Dictionary{{"/Docs", docs}}));
    send("kTFinderSyncTExcludeSyncPath", "{\"remotePath\":\"/Docs/x\"}");
    EXPECT_EQ(loadState(temporary / "state/state.json", log).excluded.size(), 1U);
    send("kTFinderSyncTIncludeSyncPath", "{\"remotePath\":\"/Docs/x\"}");
    EXPECT_TRUE(loadState(temporary / "state/state.json", log).excluded.empty());
    send("kTFinderSyncTSyncStop", "{\"remotePath\":\"/Docs\"}");
    EXPECT_TRUE(daemon.allPathsInSync().empty());
    for (const char* verb : {"Copy", "Move"}) {
        const std::string file = temporary.write(verb, "text");
        send((std::string("kTFinderSyncT") + verb + "ToSpace").c_str(),
             "{\"localPath\":\"" + file + "\",\"remotePath\":\"/\"}");
        center.until("syncStatusTransfer " + std::string(verb));
        center.until("syncStatusCompleted");
        EXPECT_EQ(fs::exists(file), verb == std::string("Copy"));
        EXPECT_EQ(contentOf(temporary / "space" / verb), "text");
    }
    send("kTFinderSyncTShareByEmail",
         "{\"localPath\":\"/Copy\",\"isDir\":\"file\",\"recipients\":[\"a@b.c\",3]}");
    EXPECT_EQ(contentOf(temporary / "state/outbox.jsonl"),
              "{\"isDir\":false,\"path\":\"/Copy\",\"recipients\":[\"a@b.c\"]}\n");
}

} // namespace
} // namespace sandbox
