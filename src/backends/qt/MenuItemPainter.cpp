#include "backends/qt/MenuItemPainter.h"

#include "backends/qt/MenuModel.h"

#include <QApplication>
#include <QFontMetrics>
#include <QIcon>
#include <QPainter>
#include <QStyleOption>
#include <algorithm>

namespace backends::qt {
namespace {

constexpr int markColumn = 20; // with the menu's frame, the distance at which a label's menu is popped up
constexpr int imageSize = 20;
constexpr int gap = 5;
constexpr int arrowColumn = 20;
constexpr int rowHeight = 24;
constexpr int separatorHeight = 9;
constexpr int maximumTextWidth = 420;

const platform::MenuItem* itemOf(const QModelIndex& index) {
    return static_cast<const MenuModel*>(index.model())->item(index).get();
}

QFont fontOf(const QModelIndex& index) {
    const QVariant font = index.data(Qt::FontRole);
    return font.isValid() ? font.value<QFont>() : QApplication::font();
}

} // namespace

QSize MenuItemPainter::sizeOf(const QModelIndex& index) {
    const platform::MenuItem* item = itemOf(index);
    if (item != nullptr && item->isSeparatorItem()) return {markColumn, separatorHeight};
    const QFontMetrics metrics(fontOf(index));
    const int text = metrics.horizontalAdvance(index.data(Qt::DisplayRole).toString());
    const int image = item != nullptr && item->image ? imageSize + gap : 0;
    return {markColumn + image + std::min(text, maximumTextWidth) + gap + arrowColumn,
            std::max(rowHeight, metrics.height() + 4)};
}

void MenuItemPainter::paint(QPainter* painter, const QStyleOptionViewItem& option,
                            const QModelIndex& index) const {
    const platform::MenuItem* item = itemOf(index);
    const QRect row = option.rect;
    const QPalette& palette = option.palette;
    if (item != nullptr && item->isSeparatorItem()) {
        painter->fillRect(row.left() + gap, row.center().y(), row.width() - 2 * gap, 1,
                          palette.color(QPalette::Mid));
        return;
    }
    const bool enabled = item != nullptr && item->enabled;
    const bool highlighted = enabled && (option.state & QStyle::State_Selected);
    if (highlighted) painter->fillRect(row, palette.highlight());
    const QPalette::ColorGroup group = enabled ? QPalette::Active : QPalette::Disabled;
    const QColor ink = palette.color(group, highlighted ? QPalette::HighlightedText : QPalette::Text);

    QStyleOption part = option;
    part.palette.setColor(QPalette::ButtonText, ink);
    part.palette.setColor(QPalette::WindowText, ink);
    if (item != nullptr && item->state) {
        part.rect = QRect(row.left() + 4, row.center().y() - 5, 11, 11);
        QApplication::style()->drawPrimitive(QStyle::PE_IndicatorItemViewItemCheck, &part, painter);
    }
    int x = row.left() + markColumn;
    const QIcon icon = index.data(Qt::DecorationRole).value<QIcon>();
    if (!icon.isNull()) {
        icon.paint(painter, QRect(x, row.center().y() - imageSize / 2 + 1, imageSize, imageSize));
        x += imageSize + gap;
    }
    const QRect text(x, row.top(), row.right() + 1 - arrowColumn - x, row.height());
    const QFont font = fontOf(index);
    painter->setFont(font);
    painter->setPen(ink);
    painter->drawText(
        text, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
        QFontMetrics(font).elidedText(index.data(Qt::DisplayRole).toString(), Qt::ElideRight, text.width()));
    if (item != nullptr && item->submenu()) {
        part.rect = QRect(row.right() - arrowColumn + 6, row.center().y() - 5, 11, 11);
        QApplication::style()->drawPrimitive(QStyle::PE_IndicatorArrowRight, &part, painter);
    }
}

} // namespace backends::qt
