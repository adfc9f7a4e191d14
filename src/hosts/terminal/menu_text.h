// A menu as text for a person, and as a value for a program.
#pragma once

#include "hosts/terminal/Extension.h"
#include "hosts/terminal/drawing.h"

#include <string>
#include <vector>

namespace hosts::terminal {

// One line an item, submenus indented; titles in the session's language.
std::string drawMenu(const std::vector<MenuEntry>& items, const DrawingStyle& style);

// The item of that title (in English or as drawMenu shows it), key or action name; null when there is none.
// Borrowed from the menu.
const MenuEntry* itemNamed(const std::vector<MenuEntry>& items, const std::string& name);

// [{"title","key","enabled","image","items"}]; an item without a submenu has no "items".
platform::Value menuValue(const std::vector<MenuEntry>& items);

} // namespace hosts::terminal
