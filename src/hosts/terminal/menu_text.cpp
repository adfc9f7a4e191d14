#include "hosts/terminal/menu_text.h"

#include "protocol/translations.h"

namespace hosts::terminal {
namespace {

void draw(std::string& text, const std::vector<MenuEntry>& items, const std::string& indent) {
    for (const MenuEntry& item : items) {
        text += indent + tsyncTranslated(item.title.c_str(), tsyncMessageLocale());
        if (!item.isEnabled) text += "  (disabled)";
        if (item.hasSubmenu) text += item.items.empty() ? "  ▸ (empty)" : "  ▸";
        text += '\n';
        draw(text, item.items, indent + "    ");
    }
}

} // namespace

std::string drawMenu(const std::vector<MenuEntry>& items) {
    std::string text;
    draw(text, items, "");
    return text;
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
