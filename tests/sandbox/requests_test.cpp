#include "backends/posix/SerialQueue.h"
#include "sandbox/Requests.h"
#include "sync_daemon/Commands.h"
#include "tests/sandbox/support.h"

#include <future>

namespace sandbox {
namespace {

using platform::Array;
using platform::Reply;
using platform::Value;

class RequestsTest : public testing::Test {
  protected:
    RequestsTest() { fs::create_directory(docs); }

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
    const std::string docs = temporary.path("docs");
    RecordingCenter center;
    support::RecordingLog log;
    Daemon daemon{{temporary / "space", temporary / "state", {}}, center, log};
    backends::posix::SerialQueue queue{"requests-test"};
    backends::posix::SerialQueue slowQueue{"slow-test"};
};

// Paths that climb out, that lead out through a link, that name the space itself or no path at all: each is
// refused in one line, and nothing has changed anywhere.
TEST_F(RequestsTest, RefusesHostilePathsWithOneLineEach) {
    support::RecordingLog errors;
    errors.lowest = platform::LogLevel::error;
    Daemon strict{{temporary / "strict", temporary / "strict-state", {}}, center, errors};
    Requests requests(strict, {}, queue, slowQueue, errors, [] { FAIL(); });
    const std::string out = temporary.path("outside");
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
         {std::string("relative"), kept, out + "/none", temporary.path("strict")})
        cases.push_back({"downloadFile:toDirectory:", {"/in", directory}});
    const std::string top = temporary.path(), space = temporary.path("strict");
    for (const std::string& local : {std::string("relative"), docs + "/none", kept, docs + "\xff", top,
                                     std::string("/"), space, space + "-state"})
        cases.push_back({"addSyncPath:withLocalSyncPath:", {"/Docs", local}});
    for (const char* remote : {"/", "relative", "/../up"})
        cases.push_back({"addSyncPath:withLocalSyncPath:", {remote, docs}});
    for (const std::string& local : {std::string("/"), std::string(), top})
        cases.push_back({"moveLocalFile:toRemoteDestination:", {local, "/"}});
    cases.push_back({"localSnapshotChanged:NoRecursive:", {out, true}});
    cases.push_back({"excludeSyncPath:", {"relative"}});
    cases.push_back({"pauseFSEventOnPath:", {"relative"}});
    cases.push_back({"syncPath:", {"/in"}});
    for (const auto& [message, arguments] : cases) {
        const std::optional<Reply> reply = ask(requests, message, arguments);
        EXPECT_TRUE(reply && reply->kind != Reply::Kind::value)
            << message << platform::jsonDescription(arguments);
        EXPECT_EQ(errors.take().size(), 1U) << message << platform::jsonDescription(arguments);
    }
    for (const Value& path : hostile) {
        SCOPED_TRACE(platform::jsonDescription(path));
        EXPECT_EQ(ask(requests, "directoriesAtPath:withReply:", {path})->value, Value(Array{}));
        EXPECT_EQ(ask(requests, "countDirectoriesAtPath:withReply:", {path})->value, Value(std::uint64_t{0}));
    }
    EXPECT_EQ(ask(requests, "contentOfDirectoryAtPath:onlyFile:recoursive:withReply:", {"/link", false, true})
                  ->kind,
              Reply::Kind::none);
    EXPECT_EQ(ask(requests, "sendSharingFileByEmail:isDirectory:atEmail:withReply:")->value, Value(false));
    EXPECT_EQ(tree(), before);
    EXPECT_EQ(contentOf(kept) + contentOf(temporary / "strict/in"), "keptin");
}

TEST_F(RequestsTest, MisbehavesAsTold) {
    int deaths = 0;
    Requests requests(daemon, {.latency = {}, .silent = {"getSyncStatus:"}, .diesAfter = 2}, queue, slowQueue,
                      log, [&deaths] { ++deaths; });
    EXPECT_FALSE(ask(requests, "getSyncStatus:"));
    EXPECT_TRUE(ask(requests, "allPathsInSync:"));
    EXPECT_EQ(deaths, 0);
    EXPECT_FALSE(ask(requests, "allPathsInSync:"));
    EXPECT_EQ(deaths, 1);
    Requests well(daemon, {}, queue, slowQueue, log, [] { FAIL(); });
    EXPECT_EQ(ask(well, "noSuchMessage:")->kind, Reply::Kind::noReply);
    well.stop();
    EXPECT_FALSE(ask(well, "close"));
}

TEST_F(RequestsTest, ActsOnCommandMessagesAndSurvivesMalformedOnes) {
    const sync_daemon::Commands commands(daemon, center, {queue, slowQueue}, log);
    const auto send = [this](const char* name, std::optional<std::string> object) {
        center.post({name, std::move(object), {}});
        queue.dispatchAndWait([] {});
    };
    for (const std::optional<std::string>& object : std::vector<std::optional<std::string>>{
             std::nullopt, "", "[]", "{\"remotePath\":\"/Docs\"}",
             "{\"localPath\":7,\"remotePath\":\"/Docs\"}", std::string(100000, '[')})
        send("kTFinderSyncTSyncStart", object);
    EXPECT_TRUE(daemon.allPathsInSync().empty());
    const std::string other = fs::path(temporary.write("other/file", "")).parent_path().string();
    send("kTFinderSyncTSyncStart", "{\"localPath\":\"" + docs + "\",\"remotePath\":\"/Docs\"}");
    EXPECT_EQ(daemon.allPathsInSync(), (platform::Dictionary{{"/Docs", docs}}));
    send("kTFinderSyncTSyncStart", "{\"localPath\":\"" + other + "\",\"remotePath\":\"/Docs\"}");
    const auto pair = [](const char* name, const std::string& local) {
        return name + (" {\"localPath\":\"" + local) + "\",\"remotePath\":\"/Docs\"}";
    };
    const auto told = center.until(pair("TSyncQuenzSyncPathAdded", other));
    EXPECT_EQ(std::count(told.begin(), told.end(), pair("TSyncQuenzSyncPathRemoved", docs)), 1);
    EXPECT_EQ(daemon.allPathsInSync(), (platform::Dictionary{{"/Docs", other}})) << "the pair is moved";
    send("kTFinderSyncTExcludeSyncPath", "{\"remotePath\":\"/Docs/x\"}");
    EXPECT_EQ(sync_daemon::loadState(temporary / "state/state.json", log).excluded.size(), 1U);
    send("kTFinderSyncTIncludeSyncPath", "{\"remotePath\":\"/Docs/x\"}");
    EXPECT_TRUE(sync_daemon::loadState(temporary / "state/state.json", log).excluded.empty());
    std::promise<void> answer; // of a space that is long in coming
    slowQueue.dispatch([&answer] { answer.get_future().wait(); });
    send("kTFinderSyncTShareByEmail",
         "{\"localPath\":\"/Copy\",\"isDir\":\"file\",\"recipients\":[\"a@b.c\",3]}");
    send("kTFinderSyncTSyncStop", "{\"remotePath\":\"/Docs\"}");
    EXPECT_TRUE(daemon.allPathsInSync().empty());
    EXPECT_EQ(contentOf(temporary / "state/outbox.jsonl"), "");
    answer.set_value();
    slowQueue.dispatchAndWait([] {});
    EXPECT_EQ(contentOf(temporary / "state/outbox.jsonl"),
              "{\"isDir\":false,\"path\":\"/Copy\",\"recipients\":[\"a@b.c\"]}\n");
}

} // namespace
} // namespace sandbox
