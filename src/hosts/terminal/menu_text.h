// A menu as text for a person, and as a value for a program.
#pragma once

#include "hosts/terminal/Extension.h"

#include <string>
#include <vector>

namespace hosts::terminal {

// One line an item, submenus indented; titles in the session's language.
std::string drawMenu(const std::vector<MenuEntry>& items);

// [{"title","key","enabled","image","items"}]; an item without a submenu has no "items".
platform::Value menuValue(const std::vector<MenuEntry>& items);

} // namespace hosts::terminal
