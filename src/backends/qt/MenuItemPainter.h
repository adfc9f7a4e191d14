// Draws the items of a popped-up menu: a column for the mark, the image, the title with its note in small
// letters, and an arrow where there is a submenu. The image lies where the label below the menu shows it.
#pragma once

#include <QStyledItemDelegate>

namespace backends::qt {

class MenuItemPainter final : public QStyledItemDelegate {
    Q_OBJECT
  public:
    using QStyledItemDelegate::QStyledItemDelegate;

    static QSize sizeOf(const QModelIndex& index);

    QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex& index) const override {
        return sizeOf(index);
    }
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
};

} // namespace backends::qt
