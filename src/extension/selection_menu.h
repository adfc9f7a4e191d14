// The menu that a selection gets, as a function of what the selection is.
//
// The menu always has one item that carries the product's name; its submenu depends on the selection's
// class alone. There are few classes, so that a file manager can be given the menus of all of them and
// builds one without asking.
#pragma once

#include "platform/Menu.h"

#include <array>
#include <cstddef>
#include <string_view>

namespace extension {

enum class SelectionClass {
    nothing,        // no selection, a vanished first item, or nothing to offer: an empty submenu
    syncRoot,       // one item, a sync root
    syncedFolder,   // one folder below a root
    syncedFile,     // one file below a root
    syncRoots,      // several items, all of them roots
    unsyncedFolder, // one folder outside every root
    unsyncedItems,  // one file or several items, all outside every root
};

inline constexpr std::array selectionClasses{SelectionClass::nothing,      SelectionClass::syncRoot,
                                             SelectionClass::syncedFolder, SelectionClass::syncedFile,
                                             SelectionClass::syncRoots,    SelectionClass::unsyncedFolder,
                                             SelectionClass::unsyncedItems};

// The name under which a class travels to the hosts. Never changes.
std::string_view nameOf(SelectionClass selectionClass);

struct SelectionFacts {
    std::size_t count = 0;
    bool firstExists = false;
    bool firstIsDirectory = false; // links resolved
    bool allInSync = true;
    bool noneInSync = true;
    bool allRoots = true; // what the lookup's base flag said for every item
};

SelectionClass classOf(const SelectionFacts& facts);

// A new menu with an empty title. The image is given to every item and may be null.
platform::MenuHandle menuOf(SelectionClass selectionClass, const platform::ImageHandle& image);

} // namespace extension
