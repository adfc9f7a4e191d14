#include "extension/selection_menu.h"

#include "extension/commands.h"

namespace extension {
namespace {

const platform::MenuItemHandle& add(platform::Menu& menu, std::string_view title, std::string_view action,
                                    std::string_view keyEquivalent, const platform::ImageHandle& image) {
    const auto& item = menu.addItem(std::string(title), std::string(action), std::string(keyEquivalent));
    item->image = image;
    return item;
}

} // namespace

std::string_view nameOf(SelectionClass selectionClass) {
    return tsyncSelectionClassName(static_cast<TSyncSelectionClass>(selectionClass));
}

SelectionClass classOf(const SelectionFacts& facts) {
    return static_cast<SelectionClass>(tsyncSelectionClass(&facts));
}

platform::MenuHandle menuOf(SelectionClass selectionClass, const platform::ImageHandle& image) {
    auto menu = platform::Menu::create();
    const auto submenu = platform::Menu::create();
    add(*menu, "TovikDrive", "", "TSFP", image)->setSubmenu(submenu);
    for (const Command& command : allCommands())
        if (command.offeredFor.contain(selectionClass))
            add(*submenu, command.title, command.action, command.keyEquivalent, image);
    return menu;
}

} // namespace extension
