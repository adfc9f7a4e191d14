// A one-line path control: the selected path through a tree of menus as a row of labels, one per level. A
// label pops up the menu of its level; the item chosen there, at any depth, replaces the path from that level
// on. An accessory menu has one more label at the right edge. Labels that do not fit are shrunk, leftmost
// first, down to their minimum.
//
// This is the control without its drawing: it owns labels, lays them out on plain numbers and says what is
// to be drawn; a view draws it. The view and the delegate are not retained and outlive the bar; menus and
// the selected path are shared handles. Main thread only.
//
// The owner guarantees that each position of the selected path is an item index of the menu of its level and
// the accessory index one of the accessory menu; a path that leads nowhere shows labels without content.
#pragma once

#include "jumpbar/VxJumpBarLabel.h"
#include "jumpbar/VxJumpBarView.h"
#include "platform/IndexPath.h"
#include "platform/Menu.h"
#include "platform/geometry.h"

#include <array>
#include <cstddef>
#include <map>
#include <memory>

namespace jumpbar {

class VxJumpBar;

inline constexpr double VxJumpBarNormalHeight = 30.0;
inline constexpr double VxJumpBarNormalImageSize = 20.0; // edge of the image of every restyled item
inline constexpr int VxJumpBarAccessoryMenuLabelTag = VxJumpBarLabelAccessoryMenuLabelTag;
inline constexpr double VxJumpBarMenuFontSize = 12.0;

class VxJumpBarDelegate {
  public:
    // After every setSelectedIndexPath, and every setMenu that changes the menu.
    virtual void didSelectItemAtIndexPath(VxJumpBar&, const platform::IndexPathHandle&) {}
    // After every setAccessoryMenuSelectedIndex, and every setAccessoryMenu that changes the menu.
    virtual void didSelectAccessoryMenuItemAtIndex(VxJumpBar&, std::size_t) {}
    // While a popped-up menu highlights an item; what is added to the item's submenu now can be chosen.
    virtual void didHighlightMenuItem(VxJumpBar&, platform::MenuItem&) {}

  protected:
    ~VxJumpBarDelegate() = default;
};

// What the bar draws under its labels, in its own coordinates.
struct BarDrawing {
    platform::Rect background; // a linear gradient from `top` at its upper edge to `bottom` at its lower
    White top;
    White bottom;
    White border;
    std::array<platform::Rect, 4> borders; // filled: below, above, left, right
};

class VxJumpBar final : private VxJumpBarLabelDelegate {
  public:
    // The bar gets the frame's origin and width. The menu given here is not restyled.
    VxJumpBar(VxJumpBarView& barView, const platform::Rect& frame, platform::MenuHandle rootMenu);
    VxJumpBar(VxJumpBarView& barView, const platform::Rect& frame) : VxJumpBar(barView, frame, nullptr) {}
    VxJumpBar(const VxJumpBar&) = delete;
    VxJumpBar& operator=(const VxJumpBar&) = delete;

    VxJumpBarDelegate* delegate = nullptr;

    const platform::MenuHandle& menu() const { return rootMenu; }
    void setMenu(platform::MenuHandle menu);
    const platform::MenuHandle& accessoryMenu() const { return accessory; }
    void setAccessoryMenu(platform::MenuHandle menu);
    // Null until a menu is set.
    const platform::IndexPathHandle& selectedIndexPath() const { return selection; }
    void setSelectedIndexPath(platform::IndexPathHandle path);
    std::size_t accessoryMenuSelectedIndex() const { return accessoryIndex; }
    void setAccessoryMenuSelectedIndex(std::size_t index);

    platform::MenuItemHandle menuItemAtIndexPath(const platform::IndexPath& path) const;
    platform::MenuItemHandle selectedMenuItem() const;
    void setSelectedMenuItem(const platform::MenuItem& item); // in the tree of `menu`
    platform::MenuItemHandle selectedAccessoryMenuItem() const;
    void setSelectedAccessoryMenuItem(const platform::MenuItem& item);

    // Whether menus given to the bar are restyled; and the restyling of a whole tree: titles in the system
    // font of 12 points (bold stays bold), images at 20 x 20. Owners that add items later call it too.
    bool changeFontAndImageInMenu() const { return restyles; }
    void setChangeFontAndImageInMenu(bool restyle) { restyles = restyle; }
    static void changeFontAndImageInMenu(platform::Menu& menu);

    // The owner replaced items of a menu in the tree, outside a highlight: an open menu takes them up, and
    // they can be chosen. A path that led through the menu is for the owner to set again.
    void menuDidChange(platform::Menu& menu);

    bool isUnderIdealWidth() const { return underIdealWidth; } // the last layout had to shrink labels
    void performLayout();
    void performLayoutIfNeededWithNewSize(platform::Size size);
    std::shared_ptr<VxJumpBarLabel> labelAtLevel(int level); // created when missing

    // The labels in use by level. Layout adds and removes.
    const std::map<int, std::shared_ptr<VxJumpBarLabel>>& labels() const { return labelsByLevel; }

    bool isEnabled() const { return enabled; }
    void setEnabled(bool enable);
    const platform::Rect& frame() const { return barFrame; }
    void setFrame(const platform::Rect& frame);
    const platform::Rect& bounds() const { return barBounds; }
    void setBounds(const platform::Rect& bounds);
    static platform::MenuHandle menuForEvent() { return nullptr; } // the bar has no context menu

    // The view reports the key state of the window that shows the bar; each report redraws the whole bar.
    void windowDidBecomeKey();
    void windowDidResignKey();

    BarDrawing drawing(const platform::Rect& dirty) const;

  private:
    platform::MenuHandle menuToPresentWhenClickedForJumpBarLabel(VxJumpBarLabel& label) override;
    void didReceivedClickOnItemAtIndexPath(VxJumpBarLabel& label, const platform::IndexPath& path) override;
    void didHighlightOnItem(VxJumpBarLabel& label, platform::MenuItem& item) override;

    std::size_t pathLength() const { return selection ? selection->length() : 0; }
    double rightEdge() const;
    void placeLabelAndSetValue();
    void lookForOverflowWidth();
    void removeUnusedLabels();
    void pinAccessoryLabel(VxJumpBarLabel& label) const;
    void notifySelection();
    void notifyAccessorySelection();

    VxJumpBarView& view;
    platform::Rect barFrame;
    platform::Rect barBounds;
    platform::MenuHandle rootMenu;
    platform::MenuHandle accessory;
    platform::IndexPathHandle selection;
    std::size_t accessoryIndex = 0;
    bool restyles = false;
    bool underIdealWidth = false;
    bool enabled = true;
    bool windowIsKey = false;
    std::map<int, std::shared_ptr<VxJumpBarLabel>> labelsByLevel;
};

} // namespace jumpbar
