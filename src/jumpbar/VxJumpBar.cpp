#include "jumpbar/VxJumpBar.h"

#include "jumpbar/index_path_helpers.h"

#include <algorithm>
#include <cctype>
#include <string_view>
#include <utility>

namespace jumpbar {
namespace {

bool isBold(std::string_view fontName) {
    constexpr std::string_view bold = "bold";
    const auto sameLetter = [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == b; };
    return std::search(fontName.begin(), fontName.end(), bold.begin(), bold.end(), sameLetter) !=
           fontName.end();
}

} // namespace

VxJumpBar::VxJumpBar(VxJumpBarView& barView, const platform::Rect& frame, platform::MenuHandle menu)
    : view(barView), barFrame{frame.x, frame.y, frame.width, VxJumpBarNormalHeight},
      barBounds{0, 0, frame.width, VxJumpBarNormalHeight} {
    setMenu(std::move(menu));
    restyles = true; // only now: the first menu keeps its looks
    setAccessoryMenuSelectedIndex(0);
}

void VxJumpBar::notifySelection() {
    if (delegate != nullptr) delegate->didSelectItemAtIndexPath(*this, selection);
}

void VxJumpBar::notifyAccessorySelection() {
    if (delegate != nullptr) delegate->didSelectAccessoryMenuItemAtIndex(*this, accessoryIndex);
}

void VxJumpBar::setMenu(platform::MenuHandle menu) {
    if (menu == rootMenu) return;
    rootMenu = std::move(menu);
    if (rootMenu && !selection) setSelectedIndexPath(platform::indexPath({0}));
    if (rootMenu && restyles) changeFontAndImageInMenu(*rootMenu);
    performLayout();
    notifySelection();
}

void VxJumpBar::setAccessoryMenu(platform::MenuHandle menu) {
    if (menu == accessory) return;
    accessory = std::move(menu);
    if (accessory && restyles) changeFontAndImageInMenu(*accessory);
    performLayout();
    notifyAccessorySelection();
}

void VxJumpBar::setSelectedIndexPath(platform::IndexPathHandle path) {
    if (path != selection) {
        selection = std::move(path);
        performLayout();
    }
    notifySelection();
}

void VxJumpBar::setAccessoryMenuSelectedIndex(std::size_t index) {
    if (index != accessoryIndex) {
        accessoryIndex = index;
        performLayout();
    }
    notifyAccessorySelection();
}

platform::MenuItemHandle VxJumpBar::menuItemAtIndexPath(const platform::IndexPath& path) const {
    return rootMenu ? itemAtIndexPath(*rootMenu, path) : nullptr;
}

platform::MenuItemHandle VxJumpBar::selectedMenuItem() const {
    return selection ? menuItemAtIndexPath(*selection) : nullptr;
}

void VxJumpBar::setSelectedMenuItem(const platform::MenuItem& item) {
    setSelectedIndexPath(platform::indexPath(indexPathOfItem(item)));
}

platform::MenuItemHandle VxJumpBar::selectedAccessoryMenuItem() const {
    return accessory ? accessory->itemAtIndex(accessoryIndex) : nullptr;
}

void VxJumpBar::setSelectedAccessoryMenuItem(const platform::MenuItem& item) {
    if (item.menu() != nullptr) setAccessoryMenuSelectedIndex(*item.menu()->indexOfItem(item));
}

void VxJumpBar::changeFontAndImageInMenu(platform::Menu& menu) {
    for (const platform::MenuItemHandle& item : menu.items()) {
        platform::AttributedString title =
            item->attributedTitle.value_or(platform::AttributedString{item->title, {}});
        const bool bold = !title.text.empty() && title.font && isBold(title.font->name);
        title.font = bold ? platform::boldSystemFont(VxJumpBarMenuFontSize)
                          : platform::systemFont(VxJumpBarMenuFontSize);
        item->attributedTitle = std::move(title);
        if (item->image) item->image->size = {VxJumpBarNormalImageSize, VxJumpBarNormalImageSize};
        if (item->submenu()) changeFontAndImageInMenu(*item->submenu());
    }
}

void VxJumpBar::menuDidChange(platform::Menu& menu) {
    for (const auto& [level, label] : labelsByLevel)
        if (label->clickedMenu()) label->setPropretyOnMenu(*label->clickedMenu());
    view.menuChanged(menu);
}

std::shared_ptr<VxJumpBarLabel> VxJumpBar::labelAtLevel(int level) {
    std::shared_ptr<VxJumpBarLabel>& label = labelsByLevel[level];
    if (!label) {
        label = std::make_shared<VxJumpBarLabel>(view, level);
        label->frame = {0, 0, 0, barFrame.height};
        label->delegate = this;
        label->enabled = enabled;
    }
    return label;
}

void VxJumpBar::performLayout() {
    underIdealWidth = false;
    placeLabelAndSetValue();
    lookForOverflowWidth();
    removeUnusedLabels();
    view.layoutChanged();
}

void VxJumpBar::pinAccessoryLabel(VxJumpBarLabel& label) const {
    label.frame.x = barFrame.width - label.frame.width;
}

void VxJumpBar::placeLabelAndSetValue() {
    const auto show = [](VxJumpBarLabel& label, const platform::MenuItem* item, std::size_t index) {
        label.setText(item == nullptr ? std::nullopt : std::optional(item->title));
        label.setImage(item == nullptr ? nullptr : item->image);
        label.indexInLevel = index;
        label.sizeToFit();
    };
    double x = 0;
    const platform::Menu* level = rootMenu.get();
    for (std::size_t k = 0; k < pathLength(); ++k) {
        const std::size_t index = selection->indexAtPosition(k);
        const platform::MenuItemHandle item = level == nullptr ? nullptr : level->itemAtIndex(index);
        VxJumpBarLabel& label = *labelAtLevel(static_cast<int>(k) + 1);
        label.lastLabel = k + 1 == pathLength();
        show(label, item.get(), index);
        label.frame.x = x;
        x += label.frame.width;
        level = item ? item->submenu().get() : nullptr;
    }
    if (accessory) {
        VxJumpBarLabel& label = *labelAtLevel(VxJumpBarAccessoryMenuLabelTag);
        show(label, selectedAccessoryMenuItem().get(), accessoryIndex);
        pinAccessoryLabel(label);
    }
}

double VxJumpBar::rightEdge() const {
    const auto last = labelsByLevel.find(static_cast<int>(pathLength()));
    return last == labelsByLevel.end() ? 0.0 : last->second->frame.x + last->second->frame.width;
}

void VxJumpBar::lookForOverflowWidth() {
    const auto accessoryLabel = accessory ? labelAtLevel(VxJumpBarAccessoryMenuLabelTag) : nullptr;
    const double needed = rightEdge() + (accessoryLabel ? accessoryLabel->frame.width : 0.0);
    if (barFrame.width >= needed) return;
    underIdealWidth = true;
    double overflow = needed - barFrame.width;
    const auto absorbs = [&overflow](VxJumpBarLabel& label) {
        const double minimum = label.minimumWidth();
        if (overflow + minimum - label.frame.width < 0) {
            label.frame.width -= overflow;
            return true;
        }
        overflow -= label.frame.width - minimum;
        label.frame.width = minimum;
        return false;
    };
    const int levels = static_cast<int>(pathLength());
    bool absorbed = false;
    for (int level = 1; level <= levels && !absorbed; ++level)
        absorbed = absorbs(*labelAtLevel(level));
    if (!absorbed && accessoryLabel) absorbs(*accessoryLabel);

    double x = 0;
    for (int level = 1; level <= levels; ++level) {
        VxJumpBarLabel& label = *labelAtLevel(level);
        label.frame.x = x;
        x += label.frame.width;
    }
    if (accessoryLabel) pinAccessoryLabel(*accessoryLabel);
}

void VxJumpBar::removeUnusedLabels() {
    labelsByLevel.erase(labelsByLevel.upper_bound(static_cast<int>(pathLength())), labelsByLevel.end());
    if (!accessory) labelsByLevel.erase(VxJumpBarAccessoryMenuLabelTag);
}

void VxJumpBar::performLayoutIfNeededWithNewSize(platform::Size size) {
    if (accessory || underIdealWidth || size.width < rightEdge()) performLayout();
}

void VxJumpBar::setEnabled(bool enable) {
    enabled = enable;
    for (const auto& [level, label] : labelsByLevel)
        label->enabled = enable;
    view.setNeedsDisplay();
}

void VxJumpBar::setFrame(const platform::Rect& frame) {
    barFrame = frame;
    barBounds.width = frame.width;
    barBounds.height = frame.height;
    performLayoutIfNeededWithNewSize({frame.width, frame.height});
}

void VxJumpBar::setBounds(const platform::Rect& bounds) {
    barBounds = bounds;
    performLayoutIfNeededWithNewSize({bounds.width, bounds.height});
}

void VxJumpBar::windowDidBecomeKey() {
    windowIsKey = true;
    view.setNeedsDisplay();
}

void VxJumpBar::windowDidResignKey() {
    windowIsKey = false;
    view.setNeedsDisplay();
}

BarDrawing VxJumpBar::drawing(const platform::Rect& dirty) const {
    const bool active = enabled && windowIsKey;
    BarDrawing drawing;
    drawing.background = {dirty.x, 0, dirty.width, barBounds.height};
    drawing.top = {active ? 0.85 : 0.96, 1.0};
    drawing.bottom = {active ? 0.73 : 0.85, 1.0};
    drawing.border = {active ? 0.33 : 0.5, 1.0};
    drawing.borders = {platform::Rect{dirty.x, 0, dirty.width, 1},
                       {dirty.x, barFrame.height - 1, dirty.width, 1},
                       {0, 0, 1, barBounds.height},
                       {barFrame.width - 1, 0, 1, barBounds.height}};
    return drawing;
}

platform::MenuHandle VxJumpBar::menuToPresentWhenClickedForJumpBarLabel(VxJumpBarLabel& label) {
    if (label.level() == VxJumpBarAccessoryMenuLabelTag) return accessory;
    platform::MenuHandle level = rootMenu;
    for (std::size_t k = 0; k + 1 < static_cast<std::size_t>(label.level()) && level && k < pathLength();
         ++k) {
        const platform::MenuItemHandle item = level->itemAtIndex(selection->indexAtPosition(k));
        level = item ? item->submenu() : nullptr;
    }
    return level;
}

void VxJumpBar::didReceivedClickOnItemAtIndexPath(VxJumpBarLabel& label, const platform::IndexPath& path) {
    if (label.level() == VxJumpBarAccessoryMenuLabelTag) {
        setAccessoryMenuSelectedIndex(path.indexAtPosition(0));
        return;
    }
    const std::size_t kept = static_cast<std::size_t>(label.level()) - 1;
    setSelectedIndexPath(
        platform::indexPath(indexPathByAddingIndexPath(subIndexPathToPosition(*selection, kept), path)));
}

void VxJumpBar::didHighlightOnItem(VxJumpBarLabel&, platform::MenuItem& item) {
    if (delegate != nullptr) delegate->didHighlightMenuItem(*this, item);
}

} // namespace jumpbar
