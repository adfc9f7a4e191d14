// Parts of the program that only a table shows well: colours of names, a tree map's rectangles, names in a
// picture.
#include "apps/dirsnapshot/LsColors.h"
#include "apps/dirsnapshot/squarified.h"
#include "apps/dirsnapshot/svg_text.h"
#include "snapshot/DSNode.h"

#include <gtest/gtest.h>

#include <random>
#include <regex>
#include <sstream>

using namespace dirsnapshot_tool;

TEST(DirsnapshotParts, ColoursNamesAsLsDoes) {
    struct Case {
        const char* variable;
        const char* path;
        uint8_t type;
        const char* painted;
    };
    const Case cases[] = {
        {"", "/", DSNodeTypeDirectory, "\033[01;34m/\033[0m"},
        {"", "/d/f", DSNodeTypeFile, "\033[01;34m/d/\033[0mf"},
        {"di=0:ln=target:fi=32", "/d/l", DSNodeTypeSymlink, "/d/\033[01;36ml\033[0m"},
        {"di=:fi=32", "/d/f", DSNodeTypeFile, "/d/\033[32mf\033[0m"},
        {"di=00:no=7", "/o", DSNodeTypeOther, "/\033[7mo\033[0m"},
        // The later of two endings that fit, the very letters before other ones, none of directories.
        {"di=0:*.gz=1:*.tar.gz=2:*z=3", "/a.tar.gz", DSNodeTypeFile, "/\033[3ma.tar.gz\033[0m"},
        {"di=0:*z=3:*.gz=1", "/A.GZ", DSNodeTypeFile, "/\033[1mA.GZ\033[0m"},
        {"di=0:*.c=1:*.C=2", "/a.C", DSNodeTypeFile, "/\033[2ma.C\033[0m"},
        {"*.c=1:di=0", "/a.c", DSNodeTypeDirectory, "/a.c"},
        {"::=:*=1:x:di=1\033[2J:di=0:*.c=\\e", "/a.c", DSNodeTypeFile, "/a.c"},
    };
    for (const Case& each : cases)
        EXPECT_EQ(LsColors(each.variable).painted(each.path, each.type), each.painted) << each.variable;

    // Whatever the text, nothing but colours reaches the terminal.
    std::mt19937 random(1);
    const std::regex coloured("(\033\\[[0-9;]+m)?/(\033\\[0m)?(\033\\[[0-9;]+m)?a.c(\033\\[0m)?");
    for (int i = 0; i < 2'000; i++) {
        std::string text;
        for (auto length = random() % 40; length > 0; length--)
            text += "di*.c=:;01\033m["[random() % 14]; // with the NUL at its end
        EXPECT_TRUE(std::regex_match(LsColors(text).painted("/a.c", DSNodeTypeFile), coloured)) << text;
    }
}

TEST(DirsnapshotParts, LaysAMapOutInNearSquares) {
    // Each rectangle by its place and its size.
    const auto placed = [](const std::vector<double>& sizes, double total, const Rectangle& area) {
        std::ostringstream text;
        text.precision(10);
        for (const Rectangle& at : squarified(sizes, total, area))
            text << at.x << ' ' << at.y << ' ' << at.width << 'x' << at.height << '\n';
        return text.str();
    };
    // The example of the paper that describes the rule, and a quarter of the area that stays free.
    EXPECT_EQ(placed({6, 6, 4, 3, 2, 2, 1}, 24, {0, 0, 6, 4}),
              "0 0 3x2\n0 2 3x2\n3 0 1.714285714x2.333333333\n4.714285714 0 1.285714286x2.333333333\n"
              "3 2.333333333 1.2x1.666666667\n4.2 2.333333333 1.2x1.666666667\n"
              "5.4 2.333333333 0.6x1.666666667\n");
    EXPECT_EQ(placed({3}, 4, {10, 20, 4, 2}), "10 20 3x2\n");
    EXPECT_EQ(placed({}, 1, {0, 0, 1, 1}), "");
}

TEST(DirsnapshotParts, WritesEveryNameIntoAPicture) {
    EXPECT_EQ(svgText("a<b>&\"\n\x01\xFF\xEF\xBF\xBE\xC3\xA4"),
              "a&lt;b&gt;&amp;&quot;\n\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xC3\xA4");
    EXPECT_EQ(shortened("\xC3\xA4\xC3\xA4\xC3\xA4", 24), "\xC3\xA4\xC3\xA4\xC3\xA4");
    EXPECT_EQ(shortened("\xC3\xA4\xC3\xA4\xC3\xA4", 23), "\xC3\xA4\xE2\x80\xA6");
    EXPECT_EQ(shortened("\xC3\xA4\xC3\xA4\xC3\xA4", 15), "");
}
