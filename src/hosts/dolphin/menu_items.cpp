#include "hosts/dolphin/menu_items.h"

#include "protocol/names.h"

namespace hosts::dolphin {
namespace {

constexpr int deepestMenu = 4;
constexpr std::size_t longestMenu = 64;

MenuItems readItems(const QVariantList& list, int depth) {
    MenuItems items;
    for (const QVariant& variant : list) {
        if (depth == deepestMenu || items.size() == longestMenu) break;
        if (variant.userType() != qMetaTypeId<QDBusArgument>()) continue;
        const auto fields = variant.value<QDBusArgument>();
        if (fields.currentSignature() != QLatin1String("(" FINDER_SYNC_MENU_ITEM_FIELDS ")")) continue;
        MenuItem item;
        QString key;
        QString action;
        QVariantList submenu;
        fields.beginStructure();
        fields >> item.title >> key >> action >> item.image >> item.isEnabled >> item.hasSubmenu >> submenu;
        fields.endStructure();
        item.identifier = !key.isEmpty() ? key : !action.isEmpty() ? action : item.title;
        if (item.hasSubmenu) item.submenu = readItems(submenu, depth + 1);
        items.push_back(std::move(item));
    }
    return items;
}

} // namespace

MenusByClass readMenus(const QDBusArgument& argument, std::size_t maximum) {
    MenusByClass menus;
    argument.beginMap();
    for (std::size_t i = 0; i <= maximum && !argument.atEnd(); ++i) {
        QString name;
        QVariantList items;
        argument.beginMapEntry();
        argument >> name >> items;
        argument.endMapEntry();
        menus.insert(name, readItems(items, 0));
    }
    return menus;
}

} // namespace hosts::dolphin
