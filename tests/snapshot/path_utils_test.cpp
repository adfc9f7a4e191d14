// What is decided by the text of paths and names alone: components, exclusion, patterns.
#include "snapshot/exclusion/scan_utils.h"
#include "snapshot/tree/path_utils.h"
#include "tests/snapshot/support.h"

#include <algorithm>
#include <clocale>

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
    const std::string tooLong = "/a/" + std::string(1100, 'x');
    EXPECT_FALSE(isChildOfPath("/a", tooLong.c_str()));
    EXPECT_FALSE(isEqualToPath(tooLong.c_str(), tooLong.c_str()));
    EXPECT_EQ(isPathUnrelated("/a", tooLong.c_str()), 0);
}

TEST(ScanUtils, Excludes) {
    const struct {
        int excluded;
        const char *name, *parent, *grandparent;
    } cases[] = {
        {1, "Caches", "", ""},
        {0, "Cache", "Library", ""},
        {1, "Cache", "discord", ""},
        {0, "Cache", "Atom", "Library"},
        {1, "Previews", "iPhoto Library.photolibrary", "x"},
        {1, "TovikSpace", "Application Support", "Library"},
        {0, "TovikSpace", "Application Support", ""},
        {1, "com.apple.nsurlsessiond", "x", "Library"},
        {0, "com.apple.nsurlsessiond", "Library", "x"},
        {1, nullptr, "", ""},
        {1, "MPBackup.tmp.1", "x", "y"},
        {0, "MPBackup.tmp.", "x", "y"},
        {1, "abcd.att.tar", "z.mpbak", ""},
        {0, "abcd.att.tar", ".mpbak", ""},
        {0, "abc.att.tar", "z.mpbak", ""},
        {1, "a.att.tar.gz", "z.mpbak", ""},
        {1, "x.att.tar.encrypted", "z.mpbak", ""},
        {0, ".att.tar.encrypted", "z.mpbak", ""},
        {1, "a.crdownload.txt", "", ""},
    };
    for (const auto& [excluded, name, parent, grandparent] : cases)
        EXPECT_EQ(checkForExclusion(name, parent, grandparent), excluded)
            << (name != nullptr ? name : "(null)") << " in " << parent << " in " << grandparent;
}

TEST(ScanUtils, MatchesUserPatterns) {
    setlocale(LC_ALL, "C.UTF-8"); // bytes that are not UTF-8 must match "*" all the same
    const struct {
        bool matches;
        const char *pattern, *path;
    } cases[] = {
        {true, "Caches", "/Users/u/Library/Caches"},
        {true, "Caches/", "/a/Caches/"},
        {true, "Caches", "/a/MyCaches"}, // the run before may end inside a component
        {false, "Caches", "/a/Cachess"},
        {true, "*.tmp", "/a/b.tmp"},
        {false, "*.tmp", "/a/bxtmp/c.tm"},
        {true, "/a/*/c", "/a/b\xff/c/d"},
        {true, "a+b(c)", "/x/a+b(c)"},
        {true, "[x]{1}^$", "/y/[x]{1}^$"},
        {true, "back\\slash:", "/y/back\\slash:"},
        {false, "a|b)", "/a"},
        {true, "/", "/"},
    };
    for (const auto& [matches, pattern, path] : cases)
        EXPECT_EQ(_match(pattern, path), matches) << pattern << " on " << path;
    EXPECT_FALSE(CompiledPattern("|?").isValid());
    EXPECT_TRUE(_match2("b", "abc"));
    EXPECT_FALSE(_match2("^b", "abc"));
    EXPECT_FALSE(_match2("(", "("));
    setlocale(LC_ALL, "C");
}

} // namespace
