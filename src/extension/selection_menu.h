// The menu that a selection gets, as a function of what the selection is.
//
// The menu always has one item that carries the product's name; its submenu depends on the selection's
// class alone. There are few classes, so that a file manager can be given the menus of all of them and
// builds one without asking.
#pragma once

#include "platform/Menu.h"
#include "protocol/selection_class.h"

#include <array>
#include <string_view>

namespace extension {

// As the hosts know them; they have the rule too.
enum class SelectionClass {
    nothing = TSYNC_CLASS_NOTHING,
    syncRoot = TSYNC_CLASS_SYNC_ROOT,
    syncedFolder = TSYNC_CLASS_SYNCED_FOLDER,
    syncedFile = TSYNC_CLASS_SYNCED_FILE,
    syncRoots = TSYNC_CLASS_SYNC_ROOTS,
    unsyncedFolder = TSYNC_CLASS_UNSYNCED_FOLDER,
    unsyncedItems = TSYNC_CLASS_UNSYNCED_ITEMS,
};

inline constexpr std::array selectionClasses{SelectionClass::nothing,      SelectionClass::syncRoot,
                                             SelectionClass::syncedFolder, SelectionClass::syncedFile,
                                             SelectionClass::syncRoots,    SelectionClass::unsyncedFolder,
                                             SelectionClass::unsyncedItems};

// The name under which a class travels to the hosts. Never changes.
std::string_view nameOf(SelectionClass selectionClass);

using SelectionFacts = TSyncSelectionFacts;
SelectionClass classOf(const SelectionFacts& facts);

// A new menu with an empty title. The image is given to every item and may be null.
platform::MenuHandle menuOf(SelectionClass selectionClass, const platform::ImageHandle& image);

} // namespace extension
