#include "hosts/terminal/menu_text.h"

#include "protocol/translations.h"

namespace hosts::terminal {
namespace {

std::string shownTitle(const MenuEntry& item) {
    return tsyncTranslated(item.title.c_str(), tsyncMessageLocale());
}

void draw(std::string& text, const std::vector<MenuEntry>& items, const std::string& indent,
          const DrawingStyle& style) {
    for (const MenuEntry& item : items) {
        text += indent + shownTitle(item);
        if (!item.isEnabled) text += "  (disabled)";
        if (item.hasSubmenu) text += style.isUnicode ? "  ▸" : "  >";
        if (item.hasSubmenu && item.items.empty()) text += " (empty)";
        text += '\n';
        draw(text, item.items, indent + "    ", style);
    }
}

} // namespace

std::string drawMenu(const std::vector<MenuEntry>& items, const DrawingStyle& style) {
    std::string text;
    draw(text, items, "", style);
    return text;
}

const MenuEntry* itemNamed(const std::vector<MenuEntry>& items, const std::string& name) {
    for (const MenuEntry& item : items) {
        const bool isMeant =
            name == item.title || name == item.key || name == item.action || name == shownTitle(item);
        if (isMeant && item.isEnabled && !item.hasSubmenu) return &item;
        if (const MenuEntry* below = itemNamed(item.items, name)) return below;
    }
    return nullptr;
}

platform::Value menuValue(const std::vector<MenuEntry>& items) {
    platform::Array list;
    for (const MenuEntry& item : items) {
        platform::Dictionary entry{
            {"title", item.title}, {"key", item.key}, {"enabled", item.isEnabled}, {"image", item.image}};
        if (item.hasSubmenu) entry["items"] = menuValue(item.items);
        list.emplace_back(std::move(entry));
    }
    return list;
}

} // namespace hosts::terminal
