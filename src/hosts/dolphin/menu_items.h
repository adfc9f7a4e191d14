// The extension's menus as they come from the bus.
#pragma once

#include <QDBusArgument>
#include <QMap>
#include <QString>
#include <QVariant>
#include <cstddef>
#include <vector>

namespace hosts::dolphin {

struct MenuItem {
    QString identifier; // by which it is chosen
    QString title;      // English
    QString image;      // a file's path; empty, or a name: see Menu
    bool isEnabled = false;
    bool hasSubmenu = false;
    std::vector<MenuItem> submenu;
};
using MenuItems = std::vector<MenuItem>;
using MenusByClass = QMap<QString, MenuItems>;

// Reads a{sav}. What is no menu item, is too deep or too long is left out; no more menus are read than that
// and one more.
MenusByClass readMenus(const QDBusArgument& argument, std::size_t maximum);

} // namespace hosts::dolphin
