// The items of one menu as a list for a view, filtered by what was typed. Main thread only.
#pragma once

#include "platform/Menu.h"

#include <QAbstractListModel>
#include <QString>
#include <vector>

namespace backends::qt {

class MenuModel final : public QAbstractListModel {
    Q_OBJECT
  public:
    explicit MenuModel(platform::MenuHandle shownMenu, QObject* parent = nullptr);

    const platform::MenuHandle& menu() const { return source; }

    // The note shown in small letters beside an item's title (a text), or nothing.
    static constexpr int noteRole = Qt::UserRole;

    // Takes up the menu's items again; those whose title contains the text (in any letter case) are shown,
    // and separators only where they separate: between two shown items, none while a text is given.
    void reload();
    void setFilter(const QString& text);

    // Null for the row that stands for an empty list.
    platform::MenuItemHandle item(const QModelIndex& index) const;
    QModelIndex indexOf(const platform::MenuItem* item) const; // invalid when it is not shown

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

  private:
    platform::MenuHandle source;
    QString filter;
    std::vector<platform::MenuItemHandle> rows; // one null row when there is nothing to show
};

} // namespace backends::qt
