#include "backends/qt/FlowLayout.h"

#include <QWidget>
#include <algorithm>

namespace backends::qt {

FlowLayout::~FlowLayout() = default;

void FlowLayout::addItem(QLayoutItem* item) { items.emplace_back(item); }

void FlowLayout::insertWidget(int index, QWidget* widget) {
    addChildWidget(widget);
    items.emplace(items.begin() + index, new QWidgetItem(widget));
    invalidate();
}

QLayoutItem* FlowLayout::itemAt(int index) const {
    return index >= 0 && index < count() ? items[static_cast<std::size_t>(index)].get() : nullptr;
}

QLayoutItem* FlowLayout::takeAt(int index) {
    if (index < 0 || index >= count()) return nullptr;
    QLayoutItem* taken = items[static_cast<std::size_t>(index)].release();
    items.erase(items.begin() + index);
    return taken;
}

QSize FlowLayout::minimumSize() const {
    QSize size;
    for (const auto& item : items)
        size = size.expandedTo(item->minimumSize());
    const QMargins margins = contentsMargins();
    return size + QSize(margins.left() + margins.right(), margins.top() + margins.bottom());
}

void FlowLayout::setGeometry(const QRect& rect) {
    QLayout::setGeometry(rect);
    place(rect, true);
}

int FlowLayout::place(const QRect& rect, bool move) const {
    const QRect area = rect.marginsRemoved(contentsMargins());
    int x = area.x();
    int y = area.y();
    int rowHeight = 0;
    for (const auto& item : items) {
        const bool isLast = item == items.back();
        QSize size = isLast ? item->minimumSize() : item->sizeHint();
        size.setWidth(std::min(size.width(), area.width()));
        if (x > area.x() && x + size.width() > area.right() + 1) {
            x = area.x();
            y += rowHeight + spacing();
            rowHeight = 0;
        }
        if (isLast) size.setWidth(std::max(size.width(), area.right() + 1 - x));
        rowHeight = std::max(rowHeight, size.height());
        if (move) item->setGeometry(QRect(QPoint(x, y), size));
        x += size.width() + spacing();
    }
    return y + rowHeight - rect.y() + contentsMargins().bottom();
}

} // namespace backends::qt
