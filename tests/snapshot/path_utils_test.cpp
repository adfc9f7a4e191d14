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

TEST(PathUtils, TakesPathsApartAndTogether) {
    const struct {
        const char* path;
        const char* components;
    } cases[] = {{"/a/b", "[a][b]"}, {"/a/b/", "[a][b]"}, {"/", ""},          {"//a", "[][a]"},
                 {"//", "[]"},       {"/a//", "[a][]"},   {"x/b/c", "[b][c]"}};
    for (const auto& [path, components] : cases)
        EXPECT_EQ(componentsOf(path), components) << path;
    EXPECT_EQ(taken(pathByAppendingPathComponent("/a/", "b")), "/a/b");
    EXPECT_EQ(taken(pathByAppendingPathComponent("/", "b")), "/b");

    EXPECT_EQ(messagesOf([] { EXPECT_EQ(componentsOf("plain"), "(none)"); }),
              "Cannot look for path components on a non-absolute path.\n");
    EXPECT_EQ(pathComponents("plain"), 0U);
    std::string longest = "/" + std::string(1022, 'x');
    EXPECT_EQ(componentsOf(longest), "[" + longest.substr(1) + "]");
    std::string said = messagesOf([&] {
        EXPECT_EQ(componentsOf(longest + "y"), "(none)");
        EXPECT_EQ(taken(pathByAppendingPathComponent(longest.c_str(), "")), "(none)");
    });
    EXPECT_EQ(std::ranges::count(said, '\n'), 2) << said;
}

TEST(PathUtils, ComparesPaths) {
    const struct {
        const char *first, *second;
        bool isChild, isEqual;
        int unrelated;
    } cases[] = {
        {"/a", "/ab/c", true, false, 0}, // bytes, not components
        {"/a", "/a", false, true, 0},    {"/a/", "/a", false, true, 1},  {"//a", "/a", false, false, 1},
        {"/a/b", "/a", false, false, 0}, {"a", "a/b", false, false, -1}, {"/a", "/b/c", false, false, 1},
        {"/a", "/ab", false, false, 0}, // as many components: the first counts as the shorter
        {"/ab", "/a", false, false, 1},
    };
    for (const auto& [first, second, isChild, isEqual, unrelated] : cases) {
        EXPECT_EQ(isChildOfPath(first, second), isChild) << first << " " << second;
        EXPECT_EQ(isEqualToPath(first, second), isEqual) << first << " " << second;
        EXPECT_EQ(isPathUnrelated(first, second), unrelated) << first << " " << second;
    }
    EXPECT_TRUE(_isChildOfPath("a", "ab"));
}

} // namespace
