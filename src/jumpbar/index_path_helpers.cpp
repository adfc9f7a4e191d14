#include "jumpbar/index_path_helpers.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace jumpbar {

using platform::IndexPath;

std::string stringRepresentation(const IndexPath& path) {
    std::string text;
    for (const std::size_t index : path.indexes()) {
        if (!text.empty()) text += '.';
        text += std::to_string(index);
    }
    return text;
}

IndexPath indexPathByAddingIndexPath(const IndexPath& path, const IndexPath& other) {
    std::vector<std::size_t> indexes = path.indexes();
    indexes.insert(indexes.end(), other.indexes().begin(), other.indexes().end());
    return IndexPath(std::move(indexes));
}

IndexPath indexPathByAddingIndexInFront(const IndexPath& path, std::size_t index) {
    return indexPathByAddingIndexPath(IndexPath{index}, path);
}

IndexPath subIndexPathWithRange(const IndexPath& path, Range range) {
    const auto first = path.indexes().begin() + static_cast<std::ptrdiff_t>(range.location);
    return IndexPath(std::vector<std::size_t>(first, first + static_cast<std::ptrdiff_t>(range.length)));
}

IndexPath subIndexPathToPosition(const IndexPath& path, std::size_t position) {
    return subIndexPathWithRange(path, {0, position});
}

IndexPath subIndexPathFromPosition(const IndexPath& path, std::size_t position) {
    return subIndexPathWithRange(path, {position, path.length() - position});
}

platform::MenuItemHandle itemAtIndexPath(const platform::Menu& menu, const IndexPath& path) {
    const platform::Menu* level = &menu;
    platform::MenuItemHandle item;
    for (const std::size_t index : path.indexes()) {
        if (level == nullptr) return nullptr;
        item = level->itemAtIndex(index);
        level = item ? item->submenu().get() : nullptr;
    }
    return item;
}

IndexPath indexPathOfItem(const platform::MenuItem& item) {
    std::vector<std::size_t> upwards;
    for (const platform::MenuItem* current = &item; current != nullptr; current = current->parentItem()) {
        const platform::Menu* holder = current->menu();
        if (holder == nullptr) return {};
        upwards.push_back(*holder->indexOfItem(*current));
    }
    std::reverse(upwards.begin(), upwards.end());
    return IndexPath(std::move(upwards));
}

} // namespace jumpbar
