#include "snapshot/scan_utils.h"

#include <gtest/gtest.h>

#include <clocale>
#include <string>

using namespace snapshot;

namespace {

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
    setlocale(LC_ALL, "C.UTF-8"); // bytes that are no UTF-8 must match "*" all the same
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
