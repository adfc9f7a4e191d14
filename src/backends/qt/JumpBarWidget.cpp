#include "backends/qt/JumpBarWidget.h"

#include "backends/qt/JumpBarLabelWidget.h"
#include "backends/qt/accessibility.h"
#include "backends/qt/drawing.h"
#include "backends/qt/images.h"
#include "backends/qt/texts.h"

#include <QContextMenuEvent>
#include <QFontMetricsF>
#include <QLinearGradient>
#include <QPainter>
#include <utility>

namespace backends::qt {

JumpBarWidget::JumpBarWidget(QWidget* parent)
    : QWidget(parent), scale(pointScale()), logic(*this, {0, 0, 0, 0}) {
    describeToAssistivePrograms();
    setObjectName(QStringLiteral("jumpBar"));
    setFixedHeight(qRound(jumpbar::VxJumpBarNormalHeight * scale));
    setAccessibleName(shown("Destination"));
}

JumpBarWidget::~JumpBarWidget() {
    if (popup) popup->close();
}

QSize JumpBarWidget::sizeHint() const { return {qRound(420 * scale), height()}; }
QSize JumpBarWidget::minimumSizeHint() const { return {qRound(120 * scale), height()}; }

QRectF JumpBarWidget::toPixels(const platform::Rect& rect, double heightOfAll) const {
    return {rect.x * scale, (heightOfAll - rect.y - rect.height) * scale, rect.width * scale,
            rect.height * scale};
}

platform::Size JumpBarWidget::sizeOfText(const std::string& text, const jumpbar::TextAttributes& attributes) {
    const QFontMetricsF metrics(fontFor(attributes.font));
    return {metrics.horizontalAdvance(QString::fromStdString(text)) / scale, metrics.height() / scale};
}

platform::ImageHandle JumpBarWidget::imageNamed(const std::string& name) {
    platform::ImageHandle& known = images[name];
    if (!known) {
        const QPixmap pixmap = picture(name, 1.0);
        if (pixmap.isNull()) return nullptr;
        known = platform::imageNamed(
            name, {pixmap.deviceIndependentSize().width(), pixmap.deviceIndependentSize().height()});
    }
    return known;
}

void JumpBarWidget::setNeedsDisplay() {
    update();
    for (const auto& [level, widget] : labelWidgets)
        widget->setEnabled(logic.isEnabled());
}

void JumpBarWidget::labelNeedsDisplay(jumpbar::VxJumpBarLabel& label) {
    const auto widget = labelWidgets.find(label.level());
    if (widget != labelWidgets.end()) widget->second->update();
}

void JumpBarWidget::layoutChanged() {
    // A popup that is open has the focus for the moment; this is the window's own.
    const QWidget* focused = window()->focusWidget();
    bool hadFocus = false;
    const std::size_t before = labelWidgets.size();
    for (auto widget = labelWidgets.begin(); widget != labelWidgets.end();) {
        if (logic.labels().contains(widget->first)) {
            ++widget;
            continue;
        }
        hadFocus = hadFocus || widget->second == focused;
        widget->second->hide();
        widget->second->deleteLater(); // it may be the one whose click is being handled
        widget = labelWidgets.erase(widget);
    }
    QWidget* previous = nullptr;
    const auto show = [&](int level, const jumpbar::VxJumpBarLabel& label) {
        JumpBarLabelWidget*& widget = labelWidgets[level];
        if (widget == nullptr) {
            widget = new JumpBarLabelWidget(*this, level);
            widget->show();
        }
        widget->takeUp(label);
        widget->update();
        if (previous != nullptr) setTabOrder(previous, widget);
        previous = widget;
    };
    for (const auto& [level, label] : logic.labels())
        if (level > 0) show(level, *label);
    for (const auto& [level, widget] : labelWidgets)
        hadFocus = hadFocus || (widget == focused && level > 0 && labelWidgets.size() != before);
    if (hadFocus && previous != nullptr) previous->setFocus();
    const auto accessory = logic.labels().find(jumpbar::VxJumpBarAccessoryMenuLabelTag);
    if (accessory != logic.labels().end()) show(accessory->first, *accessory->second);
    update();
}

void JumpBarWidget::menuChanged(platform::Menu& menu) {
    if (popup) popup->menuChanged(menu);
}

void JumpBarWidget::popUpMenu(jumpbar::VxJumpBarLabel& label, const platform::MenuHandle& menu,
                              std::size_t index, platform::Point location) {
    if (popup) popup->close();
    clicked = label.weak_from_this();
    popup = new MenuPopup(menu, *this, this);
    const QPoint inBar(qRound((label.frame.x + location.x) * scale),
                       qRound(height() - (label.frame.y + location.y) * scale));
    popup->popUp(mapToGlobal(inBar), *menu->itemAtIndex(index));
}

void JumpBarWidget::itemHighlighted(platform::Menu& menu, platform::MenuItem& item) {
    if (menu.delegate != nullptr) menu.delegate->willHighlightItem(menu, item);
}

void JumpBarWidget::itemChosen(const platform::MenuItemHandle& item) {
    const std::shared_ptr<jumpbar::VxJumpBarLabel> label = clicked.lock();
    item->performAction();
    if (label) label->menuDidClose();
    if (label && label->level() > 0) focusLastLabel();
}

void JumpBarWidget::menuDismissed() {
    if (const auto label = clicked.lock()) label->menuDidClose();
}

void JumpBarWidget::paintEvent(QPaintEvent* event) {
    const QRect& dirty = event->rect();
    const double barHeight = logic.frame().height;
    const jumpbar::BarDrawing drawing =
        logic.drawing({dirty.x() / scale, barHeight - (dirty.y() + dirty.height()) / scale,
                       dirty.width() / scale, dirty.height() / scale});
    QPainter painter(this);
    const QRectF background = toPixels(drawing.background, barHeight);
    QLinearGradient gradient(background.topLeft(), background.bottomLeft());
    gradient.setColorAt(0, colorFor(drawing.top));
    gradient.setColorAt(1, colorFor(drawing.bottom));
    painter.fillRect(background, gradient);
    for (const platform::Rect& border : drawing.borders)
        painter.fillRect(toPixels(border, barHeight), colorFor(drawing.border));
}

void JumpBarWidget::resizeEvent(QResizeEvent*) {
    logic.setFrame({x() / scale, y() / scale, width() / scale, height() / scale});
    for (const auto& [level, widget] : labelWidgets)
        widget->takeUp(*logic.labels().at(level));
}

void JumpBarWidget::focusLabel(int level) {
    const auto widget = labelWidgets.find(level);
    if (widget != labelWidgets.end()) widget->second->setFocus(Qt::OtherFocusReason);
}

void JumpBarWidget::focusLastLabel() {
    if (!labelWidgets.empty()) focusLabel(labelWidgets.rbegin()->first);
}

void JumpBarWidget::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (isActiveWindow())
        logic.windowDidBecomeKey();
    else
        logic.windowDidResignKey();
}

bool JumpBarWidget::event(QEvent* event) {
    // A window passes these two on to its children.
    if (event->type() == QEvent::WindowActivate) logic.windowDidBecomeKey();
    if (event->type() == QEvent::WindowDeactivate) logic.windowDidResignKey();
    return QWidget::event(event);
}

void JumpBarWidget::contextMenuEvent(QContextMenuEvent* event) {
    // No menu of its own, and none of a window below either.
    if (!jumpbar::VxJumpBar::menuForEvent()) event->accept();
}

} // namespace backends::qt
