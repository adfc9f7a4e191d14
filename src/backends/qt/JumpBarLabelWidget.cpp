#include "backends/qt/JumpBarLabelWidget.h"

#include "backends/qt/JumpBarWidget.h"
#include "backends/qt/drawing.h"
#include "backends/qt/images.h"
#include "backends/qt/texts.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleOptionFocusRect>
#include <memory>

namespace backends::qt {

JumpBarLabelWidget::JumpBarLabelWidget(JumpBarWidget& barWidget, int labelLevel)
    : QWidget(&barWidget), bar(barWidget), level(labelLevel) {
    setFocusPolicy(Qt::StrongFocus);
    setObjectName(QStringLiteral("jumpBarLabel%1").arg(level));
    setAccessibleDescription(shown("Opens the folders of this level"));
    setContextMenuPolicy(Qt::NoContextMenu);
}

void JumpBarLabelWidget::takeUp(const jumpbar::VxJumpBarLabel& label) {
    const platform::Rect& frame = label.frame;
    // Edges are rounded, not widths, so that neighbours meet.
    const double scale = bar.scale;
    const int left = qRound(frame.x * scale);
    const int right = qRound((frame.x + frame.width) * scale);
    const QRect place(left, qRound(bar.height() - (frame.y + frame.height) * scale), right - left,
                      qRound(frame.height * scale));
    if (geometry() != place) setGeometry(place);
    const QString name = QString::fromStdString(label.text().value_or(""));
    setAccessibleName(isNewFolder(label.image()) ? name + QStringLiteral(", ") + shown("new folder") : name);
    setToolTip(toolTipOf(name)); // a shrunk label does not show it whole
    setEnabled(label.enabled);
}

void JumpBarLabelWidget::paintEvent(QPaintEvent*) {
    const auto found = bar.bar().labels().find(level);
    if (found == bar.bar().labels().end()) return;
    const jumpbar::VxJumpBarLabel& label = *found->second;
    const jumpbar::LabelDrawing drawing = label.drawing();
    const double height = label.frame.height;
    const double scale = bar.scale;

    QPainter painter(this);
    const auto place = [&](const std::optional<jumpbar::LabelDrawing::PlacedImage>& placed) {
        if (!placed) return;
        const platform::Size size = placed->image->size;
        const QPixmap pixmap = picture(placed->image->name, devicePixelRatioF() * scale);
        const QRectF target =
            bar.toPixels({placed->origin.x, placed->origin.y, size.width, size.height}, height);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        if (!pixmap.isNull()) painter.drawPixmap(target, pixmap, QRectF(pixmap.rect()));
    };
    place(drawing.accessorySeparator);
    place(drawing.image);
    if (drawing.text) {
        const jumpbar::TextAttributes attributes = jumpbar::VxJumpBarLabel::attributes();
        const QRectF target = bar.toPixels(drawing.text->rect, height);
        painter.setFont(fontFor(attributes.font));
        const QFontMetricsF metrics(painter.font());
        const QString text =
            metrics.elidedText(QString::fromStdString(drawing.text->text), Qt::ElideRight, target.width());
        // The shadow first, one point lower: y grows upwards in its offset.
        painter.setPen(colorFor(attributes.shadowColor));
        painter.drawText(
            target.translated(attributes.shadowOffset.x * scale, -attributes.shadowOffset.y * scale),
            Qt::AlignLeft | Qt::AlignTop | Qt::TextSingleLine, text);
        painter.setPen(colorFor(attributes.foregroundColor));
        painter.drawText(target, Qt::AlignLeft | Qt::AlignTop | Qt::TextSingleLine, text);
    }
    place(drawing.separator);
    if (hasFocus()) {
        QStyleOptionFocusRect option;
        option.initFrom(this);
        option.rect = rect().adjusted(1, 3, -1, -3);
        option.backgroundColor = QColor(200, 200, 200); // the bar's own grey, whatever the theme
        style()->drawPrimitive(QStyle::PE_FrameFocusRect, &option, &painter, this);
    }
}

void JumpBarLabelWidget::openMenu() {
    const auto found = bar.bar().labels().find(level);
    if (found == bar.bar().labels().end()) return;
    const std::shared_ptr<jumpbar::VxJumpBarLabel> label = found->second; // layout may drop it meanwhile
    label->mouseDown();
}

void JumpBarLabelWidget::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton)
        openMenu();
    else
        event->ignore();
}

void JumpBarLabelWidget::keyPressEvent(QKeyEvent* event) {
    const int key = event->key();
    if (key == Qt::Key_Space || key == Qt::Key_Down)
        openMenu();
    else if (key == Qt::Key_Left || key == Qt::Key_Right)
        bar.focusLabel(key == Qt::Key_Right ? level + 1 : level - 1);
    else
        QWidget::keyPressEvent(event);
}

void JumpBarLabelWidget::focusInEvent(QFocusEvent*) { update(); }
void JumpBarLabelWidget::focusOutEvent(QFocusEvent*) { update(); }

} // namespace backends::qt
