#include "extension/selection_menu.h"

#include <algorithm>
#include <initializer_list>

namespace extension {
namespace {

struct ItemDescription {
    std::string_view title;
    std::string_view action;
    std::string_view keyEquivalent;
};

constexpr ItemDescription top{"TovikDrive", "", "TSFP"};
constexpr ItemDescription shareByEmail{"Share by email", "shareByEmail:", "TSFP-Share-By-Email"};
constexpr ItemDescription stopSync{"Stop sync", "stopSync:", "TSFP-Stop-Sync"};
constexpr ItemDescription excludeSync{"Exclude from sync", "excludeSync:", "TSFP-Exclude-Sync"};
constexpr ItemDescription moveToSpace{"Move to Space", "moveToSpace:", "TSFP-MoveToSpace"};
constexpr ItemDescription copyToSpace{"Copy to Space", "copyToSpace:", "TSFP-CopyToSpace"};
constexpr ItemDescription startSync{"Start sync", "startSync:", "TSFP-Start-Sync"};
constexpr std::array items{shareByEmail, stopSync, excludeSync, moveToSpace, copyToSpace, startSync};
constexpr std::array<std::string_view, 2> actionsWithoutItem{"includeSync:", "copyPublicLink:"};

const platform::MenuItemHandle& add(platform::Menu& menu, const ItemDescription& description,
                                    const platform::ImageHandle& image) {
    const auto& item = menu.addItem(std::string(description.title), std::string(description.action),
                                    std::string(description.keyEquivalent));
    item->image = image;
    return item;
}

std::initializer_list<ItemDescription> itemsOf(SelectionClass selectionClass) {
    static constexpr std::initializer_list<ItemDescription> none{};
    static constexpr std::initializer_list<ItemDescription> root{shareByEmail, stopSync};
    static constexpr std::initializer_list<ItemDescription> folder{shareByEmail, excludeSync};
    static constexpr std::initializer_list<ItemDescription> file{shareByEmail};
    static constexpr std::initializer_list<ItemDescription> roots{stopSync};
    static constexpr std::initializer_list<ItemDescription> outsideFolder{moveToSpace, copyToSpace,
                                                                          startSync};
    static constexpr std::initializer_list<ItemDescription> outside{moveToSpace, copyToSpace};
    switch (selectionClass) {
    case SelectionClass::nothing:
        break;
    case SelectionClass::syncRoot:
        return root;
    case SelectionClass::syncedFolder:
        return folder;
    case SelectionClass::syncedFile:
        return file;
    case SelectionClass::syncRoots:
        return roots;
    case SelectionClass::unsyncedFolder:
        return outsideFolder;
    case SelectionClass::unsyncedItems:
        return outside;
    }
    return none;
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
    add(*menu, top, image)->setSubmenu(submenu);
    for (const ItemDescription& description : itemsOf(selectionClass))
        add(*submenu, description, image);
    return menu;
}

bool hasMenuItem(std::string_view name) {
    return std::any_of(items.begin(), items.end(), [name](const ItemDescription& item) {
        return name == item.title || name == item.keyEquivalent || name == item.action;
    });
}

std::string_view actionOfItem(std::string_view name) {
    for (const ItemDescription& item : items)
        if (name == item.title || name == item.keyEquivalent || name == item.action) return item.action;
    const auto* const action = std::find(actionsWithoutItem.begin(), actionsWithoutItem.end(), name);
    return action != actionsWithoutItem.end() ? *action : std::string_view();
}

} // namespace extension
