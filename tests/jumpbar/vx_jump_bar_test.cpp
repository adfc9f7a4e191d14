#include "jumpbar/VxJumpBar.h"
#include "jumpbar/index_path_helpers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace jumpbar {
namespace {

using platform::IndexPath;
using platform::indexPath;
using platform::Menu;
using platform::MenuHandle;

platform::ImageHandle icon() { return platform::imageNamed("folder", {16, 16}); }

// A chain of menus: level k has the titles given, and its first item leads on to the next level.
MenuHandle chain(const std::vector<std::vector<std::string>>& levels) {
    MenuHandle menu;
    for (auto level = levels.rbegin(); level != levels.rend(); ++level) {
        const MenuHandle below = menu;
        menu = Menu::create();
        for (const std::string& title : *level)
            menu->addItem(title)->image = icon();
        menu->itemAtIndex(0)->setSubmenu(below);
    }
    return menu;
}

// A view without a screen: text is measured by a fixed table, and what is asked of the view is written down.
struct RecordingView final : VxJumpBarView {
    std::map<std::string, double> widths; // of texts; a text that is not in it is 6 points a byte wide
    int layouts = 0;
    int labelRedraws = 0;

    platform::Size sizeOfText(const std::string& text, const TextAttributes&) override {
        const auto known = widths.find(text);
        return {known == widths.end() ? 6.0 * static_cast<double>(text.size()) : known->second, 14.0};
    }
    platform::ImageHandle imageNamed(const std::string& name) override {
        return platform::imageNamed(name, {name == VxJumpBarAccessorySeparator ? 2.0 : 7.0, 20.0});
    }
    void setNeedsDisplay() override {}
    void labelNeedsDisplay(VxJumpBarLabel&) override { ++labelRedraws; }
    void layoutChanged() override { ++layouts; }
    void menuChanged(platform::Menu&) override {}
    void popUpMenu(VxJumpBarLabel&, const platform::MenuHandle&, std::size_t, platform::Point) override {}
};

struct RecordingDelegate final : VxJumpBarDelegate {
    std::vector<std::string> calls;

    void didSelectItemAtIndexPath(VxJumpBar& bar, const platform::IndexPathHandle& path) override {
        const auto item = bar.menuItemAtIndexPath(*path);
        const bool restyled = item && item->attributedTitle.has_value();
        calls.push_back("path " + stringRepresentation(*path) + (restyled ? " restyled" : ""));
    }
    void didSelectAccessoryMenuItemAtIndex(VxJumpBar&, std::size_t index) override {
        calls.push_back("accessory " + std::to_string(index));
    }
    std::vector<std::string> taken() { return std::exchange(calls, {}); }
};

using Calls = std::vector<std::string>;

TEST(IndexPaths, AreCutAndLeadToNoItemWhereThereIsNone) {
    const IndexPath path{4, 3, 2, 1};
    EXPECT_EQ(subIndexPathWithRange(path, {1, 2}), (IndexPath{3, 2}));
    EXPECT_EQ(subIndexPathFromPosition(path, 1), (IndexPath{3, 2, 1}));

    const MenuHandle menu = chain({{"first", "second"}});
    const auto first = menu->itemAtIndex(0);
    first->setSubmenu(Menu::create());
    const auto inner = first->submenu()->addItem("zero");
    EXPECT_EQ(itemAtIndexPath(*menu, {0, 0}), inner);
    for (const IndexPath& nowhere :
         {IndexPath{}, IndexPath{2}, IndexPath{1, 0}, IndexPath{0, 1}, IndexPath{0, 0, 0}})
        EXPECT_EQ(itemAtIndexPath(*menu, nowhere), nullptr) << stringRepresentation(nowhere);

    menu->removeAllItems();
    EXPECT_EQ(inner->parentItem(), first.get()) << "a handle keeps the branch below it";
    EXPECT_EQ(indexPathOfItem(*first), IndexPath{}) << "an item that is in no menu";
}

TEST(VxJumpBarLabel, MeasuresByTheTable) {
    RecordingView view;
    view.widths["t"] = 40.3;
    using Widths = std::pair<double, double>; // the ideal one, and the least
    const auto measured = [&](double imageWidth, bool hasText, bool isLast, int level) {
        VxJumpBarLabel label(view, level);
        label.lastLabel = isLast;
        if (imageWidth > 0) label.setImage(platform::imageNamed("i", {imageWidth, 16}));
        if (hasText) label.setText("t");
        label.sizeToFit();
        return Widths(label.frame.width, label.minimumWidth());
    };
    EXPECT_EQ(measured(16, true, false, 1), Widths(79, 33));
    EXPECT_EQ(measured(16, true, true, 1), Widths(72, 26));
    EXPECT_EQ(measured(0, true, true, 1), Widths(51, 5));
    EXPECT_EQ(measured(0, false, false, 1), Widths(17, 12));
    EXPECT_EQ(measured(15.5, true, false, -1), Widths(79, 32.5)) << "only the measured width is rounded up";
}

TEST(VxJumpBarLabel, PlacesWhatItDraws) {
    RecordingView view;
    view.widths["t"] = 40;
    VxJumpBarLabel label(view, 1);
    label.setText("t");
    label.setImage(platform::imageNamed("folder", {15.5, 15}));
    label.frame = {100, 0, 78, 30};
    LabelDrawing drawn = label.drawing();
    EXPECT_FALSE(drawn.accessorySeparator);
    EXPECT_EQ(drawn.image->origin, (platform::Point{5, 7})); // floor(15 - 7.5)
    EXPECT_EQ(drawn.text->rect, (platform::Rect{26, 8, 78 - 26 - 5 - 7, 14}));
    EXPECT_EQ(drawn.separator->origin, (platform::Point{26 + 40 + 5, 5}));

    label.frame.width = label.minimumWidth();
    drawn = label.drawing();
    EXPECT_FALSE(drawn.text) << "no room for text at the minimum";
    EXPECT_EQ(drawn.separator->origin.x, 26);
    label.setLevel(VxJumpBarLabelAccessoryMenuLabelTag);
    label.frame.width = 78;
    drawn = label.drawing();
    EXPECT_EQ(drawn.accessorySeparator->origin, (platform::Point{1, 5}));
    EXPECT_EQ(drawn.image->origin.x, 7);
    EXPECT_EQ(drawn.text->rect, (platform::Rect{28, 8, 78 - 28 - 5, 14})) << "no room kept for a chevron";
    EXPECT_FALSE(drawn.separator);

    label.setImage(label.image()); // needs no redraw
    EXPECT_EQ(view.labelRedraws, 2);
}

TEST(VxJumpBar, TellsInOrderAndLaysOutOnlyForAnotherObject) {
    RecordingView view;
    RecordingDelegate delegate;
    VxJumpBar bar(view, {3, 4, 500, 99});
    bar.delegate = &delegate;
    EXPECT_EQ(bar.frame(), (platform::Rect{3, 4, 500, 30}));
    EXPECT_EQ(bar.selectedIndexPath(), nullptr);

    const MenuHandle menu = chain({{"a", "b"}, {"c"}});
    bar.setMenu(menu);
    EXPECT_EQ(delegate.taken(), (Calls{"path 0", "path 0 restyled"}));
    bar.setMenu(menu);
    EXPECT_EQ(delegate.taken(), Calls{});

    const auto path = indexPath({0, 0});
    bar.setSelectedIndexPath(path);
    bar.setSelectedIndexPath(path);
    EXPECT_EQ(view.layouts, 3);
    bar.setSelectedIndexPath(indexPath({0, 0}));
    EXPECT_EQ(view.layouts, 4) << "an equal path in another object";
    EXPECT_EQ(delegate.taken(), Calls(3, "path 0.0 restyled"));

    const MenuHandle tools = chain({{"x", "y"}});
    bar.setAccessoryMenu(tools);
    bar.setAccessoryMenu(tools);
    bar.setSelectedAccessoryMenuItem(*tools->itemAtIndex(1));
    bar.setAccessoryMenuSelectedIndex(1);
    EXPECT_EQ(delegate.taken(), (Calls{"accessory 0", "accessory 1", "accessory 1"}));
    EXPECT_EQ(view.layouts, 6);
    EXPECT_EQ(bar.selectedAccessoryMenuItem()->title, "y");

    bar.setAccessoryMenu(nullptr);
    EXPECT_EQ(bar.labels().size(), 2U);

    const int layouts = view.layouts;
    bar.setFrame({0, 0, 450, 30});
    bar.setBounds({0, 0, 400, 30});
    EXPECT_EQ(view.layouts, layouts) << "a bar whose labels fit costs nothing to resize";

    VxJumpBar created(view, {0, 0, 100, 30}, chain({{"plain"}}));
    EXPECT_FALSE(created.selectedMenuItem()->attributedTitle) << "the menu given at creation keeps its looks";
    EXPECT_EQ(*created.selectedIndexPath(), IndexPath{0});
    created.setMenu(nullptr);
    EXPECT_EQ(created.selectedMenuItem(), nullptr);
    EXPECT_EQ(created.labels().at(1)->text(), std::nullopt);
}

TEST(VxJumpBar, RestylesTheWholeTree) {
    const MenuHandle menu = chain({{"a", "", "plain"}, {"deep"}});
    menu->itemAtIndex(0)->attributedTitle = {{"A!", platform::Font{"Helvetica-BoldOblique", 30}}};
    menu->itemAtIndex(1)->attributedTitle = {{"", platform::Font{"Helvetica-bold", 30}}};
    menu->itemAtIndex(2)->image = nullptr;
    VxJumpBar::changeFontAndImageInMenu(*menu);
    const auto title = [&](IndexPath path) { return *itemAtIndexPath(*menu, path)->attributedTitle; };
    EXPECT_EQ(title({0}), (platform::AttributedString{"A!", platform::boldSystemFont(12)}));
    EXPECT_EQ(title({1}), (platform::AttributedString{"", platform::systemFont(12)}));
    EXPECT_EQ(title({2}), (platform::AttributedString{"plain", platform::systemFont(12)}));
    EXPECT_EQ(title({0, 0}), (platform::AttributedString{"deep", platform::systemFont(12)}));
    EXPECT_EQ(itemAtIndexPath(*menu, {0, 0})->image->size, (platform::Size{20, 20}));
    EXPECT_EQ(menu->itemAtIndex(2)->image, nullptr);
}

// Random trees: what is selected is found again by the path, and the layout agrees with plain arithmetic.
TEST(VxJumpBar, RandomTreesAgreeWithAPlainOracle) {
    std::mt19937 random(20261124);
    const auto upTo = [&](std::size_t most) {
        return std::uniform_int_distribution<std::size_t>(0, most)(random);
    };
    for (int round = 0; round < 300; ++round) {
        std::vector<platform::MenuItemHandle> all;
        const MenuHandle root = Menu::create();
        std::vector<MenuHandle> menus{root};
        for (std::size_t count = 2 + upTo(40); count > 0; --count) {
            const MenuHandle holder = menus[upTo(menus.size() - 1)];
            const auto item = holder->addItem(std::string(upTo(14), 'w'));
            if (upTo(2) != 0)
                item->image = platform::imageNamed("i", {static_cast<double>(8 + upTo(12)), 16});
            if (upTo(1) == 0 || all.empty()) {
                item->setSubmenu(Menu::create());
                menus.push_back(item->submenu());
            }
            all.push_back(item);
        }
        RecordingView view;
        const double width = static_cast<double>(upTo(600));
        VxJumpBar bar(view, {0, 0, static_cast<double>(upTo(600)), 30}, root);
        const bool accessory = upTo(1) == 0;
        if (accessory) bar.setAccessoryMenu(chain({{"tools"}}));

        const auto chosen = all[upTo(all.size() - 1)];
        bar.setSelectedMenuItem(*chosen);
        ASSERT_EQ(bar.selectedMenuItem(), chosen);

        bar.setFrame({0, 0, 1e6, 30}); // every label at its ideal width
        std::vector<int> order;
        for (int k = 1; k <= static_cast<int>(bar.selectedIndexPath()->length()); ++k)
            order.push_back(k);
        if (accessory) order.push_back(-1);
        ASSERT_EQ(bar.labels().size(), order.size());
        double excess = -width;
        std::vector<double> ideal;
        for (const int k : order) {
            ideal.push_back(bar.labels().at(k)->frame.width);
            excess += ideal.back();
        }
        // The oracle: take from the left what each label can give until the labels fit.
        bar.setFrame({0, 0, width, 30});
        ASSERT_EQ(bar.isUnderIdealWidth(), excess > 0);
        double x = 0;
        for (std::size_t k = 0; k < order.size(); ++k) {
            const VxJumpBarLabel& label = *bar.labels().at(order[k]);
            const double given = std::min(std::max(excess, 0.0), ideal[k] - label.minimumWidth());
            excess -= given;
            ASSERT_DOUBLE_EQ(label.frame.width, ideal[k] - given);
            ASSERT_DOUBLE_EQ(label.frame.x, order[k] == -1 ? width - label.frame.width : x);
            x += label.frame.width;
        }
    }
}

} // namespace
} // namespace jumpbar
