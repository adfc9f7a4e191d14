#include "platform/Menu.h"

#include <utility>

namespace platform {

MenuItem::~MenuItem() { setSubmenu(nullptr); }

MenuItemHandle MenuItem::create(std::string title, std::string action, std::string keyEquivalent) {
    return std::make_shared<MenuItem>(std::move(title), std::move(action), std::move(keyEquivalent));
}

MenuItemHandle MenuItem::separatorItem() {
    MenuItemHandle item = create({});
    item->separator = true;
    item->enabled = false;
    return item;
}

void MenuItem::setSubmenu(MenuHandle menu) {
    if (itemSubmenu) itemSubmenu->owner = nullptr;
    itemSubmenu = std::move(menu);
    if (itemSubmenu) itemSubmenu->owner = this;
}

MenuItem* MenuItem::parentItem() const { return holder == nullptr ? nullptr : holder->parentItem(); }

void MenuItem::performAction() {
    if (enabled && target != nullptr && !action.empty()) target->performMenuAction(action, *this);
}

Menu::~Menu() { removeAllItems(); }

MenuItemHandle Menu::itemAtIndex(std::size_t index) const {
    return index < content.size() ? content[index] : nullptr;
}

const MenuItemHandle& Menu::addItem(MenuItemHandle item) {
    item->holder = this;
    return content.emplace_back(std::move(item));
}

const MenuItemHandle& Menu::addItem(std::string itemTitle, std::string action, std::string keyEquivalent) {
    return addItem(MenuItem::create(std::move(itemTitle), std::move(action), std::move(keyEquivalent)));
}

void Menu::removeAllItems() {
    for (const MenuItemHandle& item : content)
        item->holder = nullptr;
    content.clear();
}

std::optional<std::size_t> Menu::indexOfItem(const MenuItem& item) const {
    for (std::size_t index = 0; index < content.size(); ++index)
        if (content[index].get() == &item) return index;
    return std::nullopt;
}

} // namespace platform
