#include "backends/qt/MenuModel.h"

#include "backends/qt/drawing.h"
#include "backends/qt/texts.h"

#include <utility>

namespace backends::qt {

MenuModel::MenuModel(platform::MenuHandle shownMenu, QObject* parent)
    : QAbstractListModel(parent), source(std::move(shownMenu)) {
    reload();
}

void MenuModel::reload() {
    beginResetModel();
    rows.clear();
    platform::MenuItemHandle separator; // comes with the next item
    for (const platform::MenuItemHandle& item : source->items()) {
        if (item->isSeparatorItem()) {
            if (filter.isEmpty() && !rows.empty()) separator = item;
            continue;
        }
        if (!filter.isEmpty() && !shownTitle(*item).contains(filter, Qt::CaseInsensitive)) continue;
        if (separator) rows.push_back(std::exchange(separator, nullptr));
        rows.push_back(item);
    }
    if (rows.empty()) rows.push_back(nullptr);
    endResetModel();
}

void MenuModel::setFilter(const QString& text) {
    if (text == filter) return;
    filter = text;
    reload();
}

platform::MenuItemHandle MenuModel::item(const QModelIndex& index) const {
    return index.isValid() ? rows[static_cast<std::size_t>(index.row())] : nullptr;
}

QModelIndex MenuModel::indexOf(const platform::MenuItem* item) const {
    for (std::size_t row = 0; row < rows.size(); ++row)
        if (rows[row].get() == item) return index(static_cast<int>(row));
    return {};
}

int MenuModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows.size());
}

QVariant MenuModel::data(const QModelIndex& index, int role) const {
    const platform::MenuItemHandle row = item(index);
    if (role == Qt::DisplayRole) return row ? shownTitle(*row) : shown("No folders");
    if (role == Qt::AccessibleTextRole) {
        const QString title = data(index, Qt::DisplayRole).toString();
        const QString note = data(index, noteRole).toString();
        return note.isEmpty() ? title : title + QStringLiteral(", ") + note;
    }
    if (!row) return {};
    if (role == noteRole && isNewFolder(row->image)) return shown("new folder");
    if (role == Qt::AccessibleDescriptionRole && row->submenu()) return shown("Contains folders");
    if (role == Qt::FontRole && row->attributedTitle && row->attributedTitle->font)
        return fontFor(*row->attributedTitle->font);
    if (role == Qt::CheckStateRole && row->state) return Qt::Checked;
    return {};
}

Qt::ItemFlags MenuModel::flags(const QModelIndex& index) const {
    const platform::MenuItemHandle row = item(index);
    if (!row || !row->enabled) return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable;
}

} // namespace backends::qt
