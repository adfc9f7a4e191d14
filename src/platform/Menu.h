// Menus as data: what the extension offers to a file manager, and the tree behind the jump bar.
//
// Ownership: a menu owns its items and an item its submenu, both through shared handles, so that whoever
// holds an item or a menu keeps it alive. The links upwards (an item's menu, a menu's parent item) are not
// retained and become null when the owner goes. An item is in one menu at most, a menu under one item at
// most. Targets and delegates are not retained: whoever sets one outlives the menu or clears it.
//
// An item without a submenu and an item with an empty submenu differ. Menus and items are compared by
// identity and are not copied. No locks: a menu belongs to one thread at a time.
#pragma once

#include "platform/Font.h"
#include "platform/Image.h"
#include "platform/Value.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform {

class Menu;
class MenuItem;
using MenuHandle = std::shared_ptr<Menu>;
using MenuItemHandle = std::shared_ptr<MenuItem>;

// Receives the action of a chosen item. `action` is the item's action name ("startSync:").
class MenuTarget {
  public:
    virtual void performMenuAction(const std::string& action, MenuItem& sender) = 0;

  protected:
    ~MenuTarget() = default;
};

// Learns what an open menu highlights.
class MenuDelegate {
  public:
    virtual void willHighlightItem(Menu& menu, MenuItem& item) = 0;

  protected:
    ~MenuDelegate() = default;
};

class MenuItem {
  public:
    MenuItem(std::string itemTitle, std::string itemAction, std::string itemKeyEquivalent)
        : title(std::move(itemTitle)), action(std::move(itemAction)),
          keyEquivalent(std::move(itemKeyEquivalent)) {}
    ~MenuItem();
    MenuItem(const MenuItem&) = delete;
    MenuItem& operator=(const MenuItem&) = delete;

    static MenuItemHandle create(std::string title, std::string action = {}, std::string keyEquivalent = {});
    static MenuItemHandle separatorItem(); // has no title, is not enabled

    std::string title;                               // UTF-8
    std::optional<AttributedString> attributedTitle; // what is shown instead of the title
    std::string action;                              // name of the action; empty: none
    std::string keyEquivalent;                       // an identifier of the item, not a key
    MenuTarget* target = nullptr;
    ImageHandle image; // null: none
    bool enabled = true;
    bool state = false; // checked
    std::int64_t tag = 0;
    std::optional<Value> representedObject; // the owner's own value
    bool isSeparatorItem() const { return separator; }

    const MenuHandle& submenu() const { return itemSubmenu; } // null: none
    void setSubmenu(MenuHandle menu);

    Menu* menu() const { return holder; } // the menu that holds the item, or null
    MenuItem* parentItem() const;         // the item whose submenu holds the item; null in a root menu

    // Sends the action to the target; does nothing when the item is not enabled or either is missing.
    void performAction();

  private:
    friend class Menu;
    bool separator = false;
    MenuHandle itemSubmenu;
    Menu* holder = nullptr;
};

class Menu {
  public:
    explicit Menu(std::string menuTitle = {}) : title(std::move(menuTitle)) {}
    ~Menu();
    Menu(const Menu&) = delete;
    Menu& operator=(const Menu&) = delete;

    static MenuHandle create(std::string title = {}) { return std::make_shared<Menu>(std::move(title)); }

    std::string title; // UTF-8
    MenuDelegate* delegate = nullptr;

    const std::vector<MenuItemHandle>& items() const { return content; }
    std::size_t numberOfItems() const { return content.size(); }
    MenuItemHandle itemAtIndex(std::size_t index) const; // null when there is no such item

    // Appends; the item must not be in a menu yet. Returns the item.
    const MenuItemHandle& addItem(MenuItemHandle item);
    const MenuItemHandle& addItem(std::string itemTitle, std::string action = {},
                                  std::string keyEquivalent = {});
    void removeAllItems();

    // By identity; none when the item is not in this menu. Linear in the number of items.
    std::optional<std::size_t> indexOfItem(const MenuItem& item) const;

    MenuItem* parentItem() const { return owner; } // the item whose submenu this is; null for a root menu

  private:
    friend class MenuItem;
    std::vector<MenuItemHandle> content;
    MenuItem* owner = nullptr;
};

} // namespace platform
