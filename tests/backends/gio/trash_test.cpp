#include "backends/gio/GioTrash.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace backends::gio {
namespace {

namespace fs = std::filesystem;

TEST(GioTrash, PutsItemsWhereTheDesktopRestoresThemFrom) {
    const support::TemporaryFolder home;
    ::setenv("HOME", home.path().c_str(), 1);
    ::setenv("XDG_DATA_HOME", home.path("data").c_str(), 1);
    const fs::path file = home.write("pair/odd %name.txt", "one");
    const fs::path folder = fs::path(home.write("pair/folder/in it", "two")).parent_path();
    GioTrash trash;
    EXPECT_TRUE(trash.trash(file));
    EXPECT_TRUE(trash.trash(folder));
    EXPECT_TRUE(fs::is_empty(home / "pair"));
    EXPECT_EQ(support::contentOf(home / "data/Trash/files/odd %name.txt"), "one");
    EXPECT_EQ(support::contentOf(home / "data/Trash/files/folder/in it"), "two");
    const std::string info = support::contentOf(home / "data/Trash/info/odd %name.txt.trashinfo");
    EXPECT_NE(info.find("Path=" + home.path("pair/odd%20%25name.txt") + "\n"), std::string::npos) << info;
    const auto gone = trash.trash(file);
    ASSERT_FALSE(gone);
    EXPECT_EQ(gone.failure().trouble, service::Trouble::missing);
}

} // namespace
} // namespace backends::gio
