#include "jumpbar/index_path_helpers.h"

#include <gtest/gtest.h>

namespace jumpbar {
namespace {

using platform::IndexPath;

TEST(IndexPathHelpers, JoinCutAndPrint) {
    const IndexPath path{4, 3, 2, 1};
    EXPECT_EQ(subIndexPathWithRange(path, {1, 2}), (IndexPath{3, 2}));
    EXPECT_EQ(subIndexPathFromPosition(path, 1), (IndexPath{3, 2, 1}));
}

TEST(IndexPathHelpers, SayWhereAPathOrAnItemIsNowhere) {
    platform::Menu root;
    const auto first = root.addItem("first");
    const auto second = root.addItem("second");
    second->setSubmenu(platform::Menu::create());
    const auto inner = second->submenu()->addItem("zero");
    EXPECT_EQ(itemAtIndexPath(root, {1, 0}), inner);
    for (const IndexPath& nowhere :
         {IndexPath{}, IndexPath{2}, IndexPath{0, 0}, IndexPath{1, 1}, IndexPath{0, 0, 0}})
        EXPECT_EQ(itemAtIndexPath(root, nowhere), nullptr) << stringRepresentation(nowhere);

    root.removeAllItems();
    EXPECT_EQ(inner->parentItem(), second.get()) << "a handle keeps the branch below it";
    EXPECT_EQ(indexPathOfItem(*first), IndexPath{}) << "an item that is in no menu";
}

} // namespace
} // namespace jumpbar
