#include "sandbox/Space.h"
#include "sandbox/State.h"
#include "tests/sandbox/support.h"

namespace sandbox {
namespace {

TEST(Space, takesAPathIntoItsPlainFormOrRefusesIt) {
    const std::map<std::string, std::optional<std::string>> cases{
        {"/", "/"},
        {"//", "/"},
        {"/a//./b/", "/a/b"},
        {"/a/...", "/a/..."},
        {"", std::nullopt},
        {"a/b", std::nullopt},
        {"/a/../../etc", std::nullopt},
        {"/.tsyncquenz-sandbox/incoming", std::nullopt},
        {"/a/.tsyncquenz-sandbox", "/a/.tsyncquenz-sandbox"},
        {"/\xff", std::nullopt},
        {std::string("/a\0b", 4), std::nullopt},
    };
    for (const auto& [path, plain] : cases)
        EXPECT_EQ(Space::plainPath(path), plain) << path;
    EXPECT_TRUE(Space::isWithin("/a/b", "/a") && Space::isWithin("/a", "/a") && Space::isWithin("/a", "/"));
    EXPECT_FALSE(Space::isWithin("/ab", "/a"));
}

TEST(Space, findsFreeNamesAndBelongsToOneProcess) {
    const TemporaryFolder temporary;
    const Space space(temporary / "space");
    temporary.write("space/file.tar.gz", "");
    fs::create_directory_symlink("nowhere", temporary / "space/link");
    EXPECT_EQ(space.freePath("/file.tar.gz"), "/file.tar (2).gz");
    EXPECT_EQ(space.freePath("/link"), "/link (2)");
    EXPECT_EQ(space.freePath("/new"), "/new");
    EXPECT_THROW(Space(temporary / "space"), fs::filesystem_error);
}

TEST(State, isOneJsonObjectAndABrokenOneIsKept) {
    const TemporaryFolder temporary;
    support::RecordingLog log;
    State state;
    state.pairs = {{"/Docs", "/home/u/Docs"}};
    state.excluded = {"/Docs/tmp"};
    state.paused = true;
    ASSERT_TRUE(saveState(state, temporary / "state.json", log));
    EXPECT_EQ(contentOf(temporary / "state.json"), "{\"excluded\":[\"/Docs/tmp\"],\"pairs\":{\"/Docs\":\"/"
                                                   "home/u/Docs\"},\"paused\":true,\"version\":1}\n");
    const State again = loadState(temporary / "state.json", log);
    EXPECT_TRUE(again.pairs == state.pairs && again.excluded == state.excluded && again.paused);
    EXPECT_TRUE(again.isExcluded("/Docs/tmp/x") && again.isInSync("/Docs/a"));
    EXPECT_FALSE(again.isExcluded("/Docs/tmpx") || again.isInSync("/"));

    for (const char* broken : {"", "{\"version\":1", "[]", "{\"version\":2,\"pairs\":{}}"}) {
        temporary.write("state.json", broken);
        EXPECT_TRUE(loadState(temporary / "state.json", log).pairs.empty());
        EXPECT_EQ(contentOf(temporary / "state.json.unreadable"), broken);
        EXPECT_FALSE(fs::exists(temporary / "state.json"));
    }
    EXPECT_FALSE(saveState(state, temporary / "no/folder.json", log));
}

} // namespace
} // namespace sandbox
