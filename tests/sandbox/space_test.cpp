#include "sandbox/Space.h"
#include "sandbox/paths.h"
#include "sync_daemon/State.h"
#include "tests/sandbox/support.h"

namespace sandbox {
namespace {

// By whole components, and never out of the tree: neither by the path nor through a link.
TEST(Space, StaysInItsFolder) {
    EXPECT_TRUE(isAtOrBelow("/a/b", "/a") && isAtOrBelow("/a", "/a") && isAtOrBelow("/a", "/"));
    EXPECT_FALSE(isAtOrBelow("/ab", "/a"));
    const TemporaryFolder temporary;
    const Space space(temporary / "space");
    temporary.write("out/file", "");
    fs::create_directory_symlink(temporary / "out", temporary / "space/link");
    EXPECT_EQ(Space::plainPath("//a//./.tsyncquenz-sandbox/"), "/a/.tsyncquenz-sandbox");
    EXPECT_EQ(Space::plainPath("//"), "/");
    for (const char* path :
         {"", "x", "/..", "/../out", "/a/../../out", "/a//b", "/a/", "/./a", "/link/new"}) {
        EXPECT_FALSE(space.localPath(path)) << path;
        EXPECT_FALSE(space.makeDirectory(path)) << path;
    }
    EXPECT_TRUE(space.makeDirectory("/a/b"));
    EXPECT_EQ(space.localPath("/a/b/c"), temporary / "space/a/b/c");
    EXPECT_EQ(std::distance(fs::directory_iterator(temporary / "out"), {}), 1);
}

TEST(Space, FindsFreeNamesAndBelongsToOneProcess) {
    const TemporaryFolder temporary;
    const Space space(temporary / "space");
    temporary.write("space/file.tar.gz", "");
    fs::create_directory_symlink("nowhere", temporary / "space/link");
    EXPECT_EQ(space.freePath("/file.tar.gz"), "/file.tar (2).gz");
    EXPECT_EQ(space.freePath("/link"), "/link (2)");
    EXPECT_EQ(space.freePath("/new"), "/new");
    EXPECT_THROW(Space(temporary / "space"), fs::filesystem_error);
}

TEST(State, IsOneJsonObjectAndABrokenOneIsKept) {
    const TemporaryFolder temporary;
    support::RecordingLog log;
    sync_daemon::State state;
    state.pairs = {{"/Docs", "/home/u/Docs"}};
    state.excluded = {"/Docs/tmp"};
    state.paused = true;
    ASSERT_TRUE(saveState(state, temporary / "state.json", log));
    EXPECT_EQ(contentOf(temporary / "state.json"), "{\"excluded\":[\"/Docs/tmp\"],\"pairs\":{\"/Docs\":\"/"
                                                   "home/u/Docs\"},\"paused\":true,\"version\":1}\n");
    const sync_daemon::State again = sync_daemon::loadState(temporary / "state.json", log);
    EXPECT_TRUE(again.pairs == state.pairs && again.excluded == state.excluded && again.paused);
    EXPECT_TRUE(again.isExcluded("/Docs/tmp/x") && again.isInSync("/Docs/a"));
    EXPECT_FALSE(again.isExcluded("/Docs/tmpx") || again.isInSync("/"));

    temporary.write("state.json",
                    R"({"version":1,"pairs":{"x":"/l","":"/l","/":"/l","/../esc":"/l","/a/":"/l","/b":"l",)"
                    R"("/c":"/l/../m","/ok":"/l"},"excluded":["x","/ok/x",7]})");
    const sync_daemon::State partly = sync_daemon::loadState(temporary / "state.json", log);
    EXPECT_EQ(partly.pairs, (decltype(partly.pairs){{"/ok", "/l"}}));
    EXPECT_EQ(partly.excluded.size(), 1U);
    EXPECT_EQ(contentOf(temporary / "state.json.unreadable"), contentOf(temporary / "state.json"));
    for (const char* path : {"", "x", "/", "/o"})
        EXPECT_FALSE(partly.isInSync(path)) << path;

    for (const char* broken : {"", "{\"version\":1", "[]", "{\"version\":2,\"pairs\":{}}"}) {
        temporary.write("state.json", broken);
        EXPECT_TRUE(sync_daemon::loadState(temporary / "state.json", log).pairs.empty());
        EXPECT_EQ(contentOf(temporary / "state.json.unreadable"), broken);
        EXPECT_FALSE(fs::exists(temporary / "state.json"));
    }
    EXPECT_FALSE(saveState(state, temporary / "no/folder.json", log));
}

} // namespace
} // namespace sandbox
