#include "snapshot/path_utils.h"
#include "tests/snapshot/support.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace snapshot;

namespace {

std::string componentsOf(const std::string& path) {
    DSList* list = pathComponentsList(path.c_str());
    if (list == nullptr) return "(none)";
    std::string text;
    for (const DSListNode* link = list->head; link != nullptr; link = link->next)
        text.append("[").append(static_cast<char*>(link->value)).append("]");
    EXPECT_EQ(pathComponents(path.c_str()), list->count);
    DSListDestroy(list);
    return text;
}

TEST(PathUtils, TakesPathsApart) {
    const struct {
        const char* path;
        const char* components;
    } cases[] = {{"/a/b", "[a][b]"}, {"/a/b/", "[a][b]"}, {"/", ""},          {"//a", "[][a]"},
                 {"//", "[]"},       {"/a//", "[a][]"},   {"x/b/c", "[b][c]"}};
    for (const auto& [path, components] : cases)
        EXPECT_EQ(componentsOf(path), components) << path;

    testing::internal::CaptureStderr();
    EXPECT_EQ(componentsOf("plain"), "(none)");
    EXPECT_EQ(taken(pathByAppendingPathComponent("", "b")), "(none)");
    EXPECT_EQ(pathComponents("plain"), 0U);
    std::string line = "Cannot look for path components on a non-absolute path.\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), line + line);
}

TEST(PathUtils, PutsPathsTogether) {
    EXPECT_EQ(taken(pathByAppendingPathComponent("/a", "b")), "/a/b");
    EXPECT_EQ(taken(pathByAppendingPathComponent("/a/", "b")), "/a/b");
    EXPECT_EQ(taken(pathByAppendingPathComponent("/", "b")), "/b");
    DSList* none = DSListCreate();
    EXPECT_EQ(taken(pathFromPathComponentsList(none)), "(none)");
    DSListDestroy(none);
}

TEST(PathUtils, ComparesPaths) {
    EXPECT_TRUE(isChildOfPath("/a", "/ab/c")); // bytes, not components
    EXPECT_FALSE(isChildOfPath("/a", "/a"));
    EXPECT_FALSE(isChildOfPath("/a", "/ab"));
    EXPECT_FALSE(isChildOfPath("a", "a/b"));
    EXPECT_TRUE(_isChildOfPath("a", "ab"));
    EXPECT_TRUE(isEqualToPath("/a/", "/a"));
    EXPECT_FALSE(isEqualToPath("//a", "/a"));
    EXPECT_FALSE(isEqualToPath("/a/b", "/a"));
    EXPECT_FALSE(isEqualToPath("a", "a"));
    EXPECT_EQ(isPathUnrelated("a", "/a"), -1);
    EXPECT_EQ(isPathUnrelated("/a/b", "/a"), 0);
    EXPECT_EQ(isPathUnrelated("/a", "/b/c"), 1);
    EXPECT_EQ(isPathUnrelated("/a", "/ab"), 0); // as many components: the first counts as the shorter
    EXPECT_EQ(isPathUnrelated("/ab", "/a"), 1);
}

TEST(PathUtils, RefusesPathsThatDoNotFit) {
    std::string longest = "/" + std::string(1022, 'x');
    EXPECT_EQ(componentsOf(longest), "[" + longest.substr(1) + "]");
    testing::internal::CaptureStderr();
    EXPECT_EQ(componentsOf(longest + "y"), "(none)");
    EXPECT_EQ(taken(pathByAppendingPathComponent(longest.c_str(), "")), "(none)");
    std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::ranges::count(said, '\n'), 2) << said;
}

} // namespace
