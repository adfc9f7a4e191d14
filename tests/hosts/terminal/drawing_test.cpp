// What a terminal shows of badges and menus.
#include "hosts/terminal/badge_tree.h"
#include "hosts/terminal/menu_text.h"

#include <gtest/gtest.h>

namespace {

using hosts::terminal::BadgeLooks;
using hosts::terminal::MenuEntry;
using hosts::terminal::TreeNode;

TEST(Drawing, ShowsEveryBadgeAlsoOneWithoutASignOfItsOwn) {
    const BadgeLooks looks{{"own", {"Own", "◆", "#", "34"}}, {"later", {"Status\nLater"}}};
    const TreeNode tree{"/r",
                        "own",
                        true,
                        false,
                        {{"/r/a\x1b[2J", "later", false, false, {}},
                         {"/r/b", "unknown", true, true, {}},
                         {"/r/c", "none", false, false, {}},
                         {"/r/d", "unchanged", true, false, {{"/r/d/e", "own", false, false, {}}}}}};
    EXPECT_EQ(hosts::terminal::drawTree(tree, looks, {.hasColors = false, .isUnicode = true}),
              "/r  ◆ Own\n├── a?[2J  ● Status?Later\n├── b/…  ● unknown\n├── c\n└── d\n    └── e  ◆ Own\n");
    EXPECT_EQ(hosts::terminal::drawTree(tree, looks, {}),
              "/r  # Own\n|-- a?[2J  * Status?Later\n|-- b/...  * unknown\n|-- c\n`-- d\n    `-- e  # Own\n");
    EXPECT_EQ(hosts::terminal::drawBadge("own", looks, {.hasColors = true, .isUnicode = true}),
              "\x1b[34m◆ Own\x1b[0m");
}

TEST(Drawing, FindsAMenuItemAsItIsShown) {
    ::setenv("LC_ALL", "de_DE.UTF-8", 1);
    ::setenv("LANGUAGE", "de", 1);
    const MenuEntry stop{"Stop sync", "TSFP-Stop-Sync", "stopSync:", "", true, false, {}};
    const MenuEntry off{"Start sync", "TSFP-Start-Sync", "startSync:", "", false, false, {}};
    const std::vector<MenuEntry> menu{{"TovikDrive", "TSFP", "", "", true, true, {stop, off}}};
    EXPECT_EQ(hosts::terminal::drawMenu(menu, {}),
              "TovikDrive  >\n    Synchronisierung beenden\n    Synchronisierung starten  (disabled)\n");
    for (const char* name : {"Stop sync", "TSFP-Stop-Sync", "stopSync:", "Synchronisierung beenden"})
        EXPECT_EQ(hosts::terminal::itemNamed(menu, name), &menu.front().items.front()) << name;
    for (const char* name : {"Start sync", "TovikDrive", "TSFP", "sync"})
        EXPECT_EQ(hosts::terminal::itemNamed(menu, name), nullptr) << name;
}

} // namespace
