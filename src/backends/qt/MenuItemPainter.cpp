#include "backends/qt/MenuItemPainter.h"

#include "backends/qt/MenuModel.h"
#include "backends/qt/drawing.h"
#include "backends/qt/images.h"
#include "jumpbar/VxJumpBar.h"

#include <QApplication>
#include <QFontMetrics>
#include <QPainter>
#include <QStyleOption>
#include <algorithm>

namespace backends::qt {
namespace {

// In points.
constexpr double markColumn = 21; // the distance at which a label's menu is popped up, and the label's margin
constexpr double imageSize = 20;
constexpr double gap = 5;
constexpr double arrowColumn = 20;
constexpr double rowHeight = 24;
constexpr double separatorHeight = 9;
constexpr double maximumTextWidth = 420;

const platform::MenuItem* itemOf(const QModelIndex& index) {
    return static_cast<const MenuModel*>(index.model())->item(index).get();
}

QFont fontOf(const QModelIndex& index) {
    const QVariant font = index.data(Qt::FontRole);
    return font.isValid() ? font.value<QFont>()
                          : fontFor(platform::systemFont(jumpbar::VxJumpBarMenuFontSize));
}

// Less than the text's own colour, and still to be read.
QColor dimmed(const QPalette& palette) {
    const QColor text = palette.color(QPalette::Active, QPalette::Text);
    const QColor base = palette.color(QPalette::Active, QPalette::Base);
    const auto mixed = [](int full, int none) { return (full * 65 + none * 35) / 100; };
    return {mixed(text.red(), base.red()), mixed(text.green(), base.green()),
            mixed(text.blue(), base.blue())};
}

} // namespace

QSize MenuItemPainter::sizeOf(const QModelIndex& index) {
    const platform::MenuItem* item = itemOf(index);
    if (item != nullptr && item->isSeparatorItem()) return {pixels(markColumn), pixels(separatorHeight)};
    const QFontMetrics metrics(fontOf(index));
    const int text = metrics.horizontalAdvance(index.data(Qt::DisplayRole).toString());
    const QString note = index.data(MenuModel::noteRole).toString();
    const int noteWidth = note.isEmpty() ? 0 : pixels(2 * gap) + metrics.horizontalAdvance(note);
    const int image = item != nullptr && item->image ? pixels(imageSize + gap) : 0;
    return {pixels(markColumn) + image + std::min(text, pixels(maximumTextWidth)) + noteWidth +
                pixels(gap + arrowColumn),
            std::max(pixels(rowHeight), metrics.height() + 4)};
}

void MenuItemPainter::paint(QPainter* painter, const QStyleOptionViewItem& option,
                            const QModelIndex& index) const {
    const platform::MenuItem* item = itemOf(index);
    const QRect row = option.rect;
    const QPalette& palette = option.palette;
    if (item != nullptr && item->isSeparatorItem()) {
        QColor line = palette.color(QPalette::Text);
        line.setAlphaF(0.25F);
        painter->fillRect(row.left() + pixels(gap), row.center().y(), row.width() - 2 * pixels(gap), 1, line);
        return;
    }
    const bool enabled = item != nullptr && item->enabled;
    const bool highlighted = enabled && (option.state & QStyle::State_Selected);
    if (highlighted) painter->fillRect(row, palette.brush(QPalette::Active, QPalette::Highlight));
    const QColor dim = dimmed(palette);
    const QColor ink = highlighted ? palette.color(QPalette::Active, QPalette::HighlightedText)
                       : enabled   ? palette.color(QPalette::Active, QPalette::Text)
                                   : dim;

    QStyleOption part = option;
    part.palette.setColor(QPalette::ButtonText, ink);
    part.palette.setColor(QPalette::WindowText, ink);
    const int markSize = pixels(11);
    if (item != nullptr && item->state) {
        part.rect = QRect(row.left() + pixels(4), row.center().y() - markSize / 2, markSize, markSize);
        QApplication::style()->drawPrimitive(QStyle::PE_IndicatorItemViewItemCheck, &part, painter);
    }
    int x = row.left() + pixels(markColumn);
    if (item != nullptr && item->image) {
        const int size = pixels(imageSize);
        const QPixmap image =
            picture(item->image->name, painter->device()->devicePixelRatioF() * pointScale());
        painter->setRenderHint(QPainter::SmoothPixmapTransform);
        if (!image.isNull())
            painter->drawPixmap(QRect(x, row.center().y() + 1 - size / 2, size, size), image);
        x += pixels(imageSize + gap);
    }
    const QFont font = fontOf(index);
    const QFontMetrics metrics(font);
    const QString note = index.data(MenuModel::noteRole).toString();
    const int noteWidth = note.isEmpty() ? 0 : pixels(2 * gap) + metrics.horizontalAdvance(note);
    const QRect room(x, row.top(), row.right() + 1 - pixels(arrowColumn) - x, row.height());
    const QString text =
        metrics.elidedText(index.data(Qt::DisplayRole).toString(), Qt::ElideRight, room.width() - noteWidth);
    constexpr int place = Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine;
    painter->setFont(font);
    painter->setPen(ink);
    painter->drawText(room, place, text);
    if (!note.isEmpty()) {
        painter->setPen(highlighted ? ink : dim);
        painter->drawText(room.adjusted(metrics.horizontalAdvance(text) + pixels(2 * gap), 0, 0, 0), place,
                          note);
    }
    if (item != nullptr && item->submenu()) {
        part.rect =
            QRect(row.right() - pixels(arrowColumn - 6), row.center().y() - markSize / 2, markSize, markSize);
        QApplication::style()->drawPrimitive(QStyle::PE_IndicatorArrowRight, &part, painter);
    }
}

} // namespace backends::qt
