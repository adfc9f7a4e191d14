// Operations on index paths, and the menu item that a path leads to. Every result is a new path.
//
// The caller keeps the bounds: a range lies within the path. itemAtIndexPath alone is lenient, for menus
// change while paths to them are held.
#pragma once

#include "platform/IndexPath.h"
#include "platform/Menu.h"

#include <cstddef>
#include <string>

namespace jumpbar {

struct Range {
    std::size_t location = 0;
    std::size_t length = 0;
};

// The indexes in decimal joined by dots, "0.3.1"; empty for the empty path.
std::string stringRepresentation(const platform::IndexPath& path);

// The path's indexes followed by all of the other's.
platform::IndexPath indexPathByAddingIndexPath(const platform::IndexPath& path,
                                               const platform::IndexPath& other);

platform::IndexPath indexPathByAddingIndexInFront(const platform::IndexPath& path, std::size_t index);

// location + length <= path.length()
platform::IndexPath subIndexPathWithRange(const platform::IndexPath& path, Range range);

// The first `position` indexes, and those from `position` to the end. position <= path.length()
platform::IndexPath subIndexPathToPosition(const platform::IndexPath& path, std::size_t position);
platform::IndexPath subIndexPathFromPosition(const platform::IndexPath& path, std::size_t position);

// Descends from the menu, one submenu per position. Null for the empty path, for an index that a menu on the
// way does not have, and where a submenu is missing.
platform::MenuItemHandle itemAtIndexPath(const platform::Menu& menu, const platform::IndexPath& path);

// The path from the root of the item's tree to the item; empty when the item is in no menu.
platform::IndexPath indexPathOfItem(const platform::MenuItem& item);

} // namespace jumpbar
