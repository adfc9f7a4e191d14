#include "paths/path_strings.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <pwd.h>
#include <set>

namespace paths {
namespace {

using Optional = std::optional<std::string>;

TEST(PathStrings, ComponentsAreTakenOffAndPutOn) {
    const struct {
        std::string path, parent, last;
    } cases[] = {{"/tmp/lock/", "/tmp", "lock"}, {"/tmp", "/", "tmp"}, {"/", "/", "/"},    {"//", "/", "/"},
                 {"//a//b//", "//a", "b"},       {"a", "", "a"},       {"a//b", "a", "b"}, {"", "", ""}};
    for (const auto& [path, parent, last] : cases) {
        EXPECT_EQ(parentPath(path), parent) << path;
        EXPECT_EQ(lastPathComponent(path), last) << path;
        EXPECT_EQ(isRootPath(path), path == parent) << path;
    }
    const struct {
        std::string path;
        std::vector<std::string> components;
        std::string joined;
    } joins[] = {{"/tmp", {"a"}, "/tmp/a"}, {"/tmp//", {"//a"}, "/tmp/a"},
                 {"/", {"a"}, "/a"},        {"", {"a"}, "a"},
                 {"/a/", {}, "/a/"},        {"/a/", {"", "/"}, "/a/"},
                 {"", {"/", "a"}, "/a"},    {"a", {"b", "..", "c"}, "a/b/../c"}};
    for (const auto& [path, components, joined] : joins) {
        EXPECT_EQ(stringByAppendingPathComponents(path, components), joined) << path;
    }
}

TEST(PathStrings, StandardForm) {
    setenv("HOME", "/home//u/", 1);
    const std::string home = getpwnam("root")->pw_dir;
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"/a//b/./c/", "/a/b/c"},
        {"/./", "/"},
        {"/a/../../b/..", "/"},
        {"/..a/.b/...", "/..a/.b/..."},
        {"a//./../b/", "a/../b"},
        {"././~/", "./~"},
        {"/~/x", "/~/x"},
        {"~", "/home/u"},
        {"~/../x", "/home/x"},
        {"~root//x", home + "/x"},
        {"~no-such-user//x/..", "~no-such-user/x/.."},
        {std::string("~root\0x", 7), std::string("~root\0x", 7)}};
    for (const auto& [path, standard] : cases) {
        EXPECT_EQ(standardisedPath(path), standard) << path;
        EXPECT_EQ(standardisedPath(standard), standard) << path;
        EXPECT_EQ(isStandardForm(path), path == standard && !path.starts_with('~')) << path;
        EXPECT_TRUE(isEqualToPath(path, standard)) << path;
    }
    EXPECT_FALSE(isEqualToPath("/a", "/A"));

    const std::string own = getpwuid(geteuid())->pw_dir;
    setenv("HOME", "relative", 1);
    EXPECT_EQ(standardisedPath("~/x"), standardisedPath(own + "/x"));
    unsetenv("HOME");
    EXPECT_EQ(standardisedPath("~"), standardisedPath(own));
}

TEST(PathStrings, RelationOfPathAndBase) {
    setenv("HOME", "/home//u/", 1);
    const struct {
        std::string path, base;
        Optional relative;
    } cases[] = {{"/a/b/c", "/a/", "/b/c"}, {"/a", "/a", "/"},
                 {"/ab", "/a", {}},         {"/a/b", "/axb", {}},
                 {"/", "/", "/"},           {"a/b", "", "/a/b"},
                 {"/a/../b", "/a", "/b"},   {"~/x", "/home/u", "/x"},
                 {"~/x", "/", {}},          {"/a/../b", "xa", {}},
                 {"/a/../a", "a", {}},      {"/a//./b/", "/a", "/b"},
                 {"a/../b", "a/..", "/b"},  {"/a/b/../..", "/a/b", "/"},
                 {"~", "~/.", "/"},         {"", "/", {}}};
    for (const auto& [path, base, relative] : cases) {
        EXPECT_EQ(pathRelativeToPath(path, base), relative) << path << " in " << base;
        EXPECT_EQ(isChildOfPath(path, base), relative.has_value()) << path << " in " << base;
        EXPECT_EQ(isAncestorOfPath(base, path), relative.has_value()) << path << " in " << base;
    }
}

TEST(PathStrings, TempPathIsFreeAndNotMade) {
    const std::string folder = testing::TempDir() + "temp_path_test";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
    const Optional free = stringByGeneratingTempPath(folder + "/XaXbXXXXXX");
    ASSERT_TRUE(free);
    EXPECT_THAT(*free, testing::MatchesRegex(folder + "/XaXb[0-9A-Za-z]{6}"));
    EXPECT_TRUE(std::filesystem::is_empty(folder));
    // Each name of a short template is found once, a dangling link counts as taken, then there is none.
    std::set<std::string> names;
    while (const Optional path = stringByGeneratingTempPath(folder + "/X")) {
        ASSERT_TRUE(names.insert(*path).second);
        std::filesystem::create_symlink("nowhere", *path);
    }
    EXPECT_EQ(names.size(), 62U);

    std::ofstream(folder + "/file").put('x');
    for (const std::string& bad :
         {std::string(), folder + "/none", folder + "/file/XXX", folder + std::string("/a\0XXX", 6)})
        EXPECT_EQ(stringByGeneratingTempPath(bad), std::nullopt) << bad;
    std::filesystem::remove_all(folder);
}

} // namespace
} // namespace paths
