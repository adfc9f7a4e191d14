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
    switch (selectionClass) {
    case SelectionClass::nothing:
        break;
    case SelectionClass::syncRoot:
        return "sync-root";
    case SelectionClass::syncedFolder:
        return "synced-folder";
    case SelectionClass::syncedFile:
        return "synced-file";
    case SelectionClass::syncRoots:
        return "sync-roots";
    case SelectionClass::unsyncedFolder:
        return "unsynced-folder";
    case SelectionClass::unsyncedItems:
        return "unsynced-items";
    }
    return "nothing";
}

SelectionClass classOf(const SelectionFacts& facts) {
    if (facts.count == 0 || !facts.firstExists) return SelectionClass::nothing;
    if (facts.allInSync && facts.count == 1) {
        if (facts.allRoots) return SelectionClass::syncRoot;
        return facts.firstIsDirectory ? SelectionClass::syncedFolder : SelectionClass::syncedFile;
    }
    if (facts.allInSync) return facts.allRoots ? SelectionClass::syncRoots : SelectionClass::nothing;
    if (facts.noneInSync)
        return facts.count == 1 && facts.firstIsDirectory ? SelectionClass::unsyncedFolder
                                                          : SelectionClass::unsyncedItems;
    return SelectionClass::nothing;
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
