#include "backends/qt/MenuModel.h"

#include "backends/qt/Images.h"
#include "backends/qt/texts.h"

#include <QFont>
#include <utility>

namespace backends::qt {

MenuModel::MenuModel(platform::MenuHandle shownMenu, QObject* parent)
    : QAbstractListModel(parent), source(std::move(shownMenu)) {
    reload();
}

void MenuModel::reload() {
    beginResetModel();
    rows.clear();
    for (const platform::MenuItemHandle& item : source->items()) {
        const bool matches = filter.isEmpty() || (!item->isSeparatorItem() &&
                                                  shownTitle(*item).contains(filter, Qt::CaseInsensitive));
        if (matches) rows.push_back(item);
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
    if (role == Qt::DisplayRole || role == Qt::AccessibleTextRole)
        return row ? shownTitle(*row) : shown("No folders");
    if (!row) return {};
    if (role == Qt::DecorationRole && row->image) return pictureIcon(row->image->name);
    if (role == Qt::FontRole && row->attributedTitle && row->attributedTitle->font) {
        QFont font;
        font.setPixelSize(static_cast<int>(row->attributedTitle->font->size));
        font.setBold(*row->attributedTitle->font ==
                     platform::boldSystemFont(row->attributedTitle->font->size));
        return font;
    }
    if (role == Qt::CheckStateRole && row->state) return Qt::Checked;
    return {};
}

Qt::ItemFlags MenuModel::flags(const QModelIndex& index) const {
    const platform::MenuItemHandle row = item(index);
    if (!row || !row->enabled) return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable;
}

} // namespace backends::qt
