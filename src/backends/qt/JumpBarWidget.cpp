#include "backends/qt/JumpBarWidget.h"

#include "backends/qt/Images.h"
#include "backends/qt/JumpBarLabelWidget.h"
#include "backends/qt/drawing.h"
#include "backends/qt/texts.h"

#include <QContextMenuEvent>
#include <QFontMetricsF>
#include <QLinearGradient>
#include <QPainter>
#include <utility>

namespace backends::qt {

JumpBarWidget::JumpBarWidget(QWidget* parent) : QWidget(parent), logic(*this, {0, 0, 0, 0}) {
    setObjectName(QStringLiteral("jumpBar"));
    setFixedHeight(static_cast<int>(jumpbar::VxJumpBarNormalHeight));
    setAccessibleName(shown("Destination"));
}

JumpBarWidget::~JumpBarWidget() {
    if (popup) popup->close();
}

QSize JumpBarWidget::sizeHint() const { return {420, static_cast<int>(jumpbar::VxJumpBarNormalHeight)}; }
QSize JumpBarWidget::minimumSizeHint() const {
    return {120, static_cast<int>(jumpbar::VxJumpBarNormalHeight)};
}

platform::Size JumpBarWidget::sizeOfText(const std::string& text, const jumpbar::TextAttributes& attributes) {
    const QFontMetricsF metrics(fontFor(attributes.font));
    return {metrics.horizontalAdvance(QString::fromStdString(text)), metrics.height()};
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
    bool hadFocus = false;
    for (auto widget = labelWidgets.begin(); widget != labelWidgets.end();) {
        if (logic.labels().contains(widget->first)) {
            ++widget;
            continue;
        }
        hadFocus = hadFocus || widget->second->hasFocus();
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
    const QPoint inBar(qRound(label.frame.x + location.x), qRound(height() - label.frame.y - location.y));
    popup->popUp(mapToGlobal(inBar), menu->itemAtIndex(index).get());
}

void JumpBarWidget::itemHighlighted(platform::Menu& menu, platform::MenuItem& item) {
    if (menu.delegate != nullptr) menu.delegate->willHighlightItem(menu, item);
}

void JumpBarWidget::itemChosen(const platform::MenuItemHandle& item) {
    const std::shared_ptr<jumpbar::VxJumpBarLabel> label = clicked.lock();
    item->performAction();
    if (label) label->menuDidClose();
}

void JumpBarWidget::menuDismissed() {
    if (const auto label = clicked.lock()) label->menuDidClose();
}

void JumpBarWidget::paintEvent(QPaintEvent* event) {
    const QRect& dirty = event->rect();
    const double barHeight = logic.frame().height;
    const auto flipped = [&](const platform::Rect& rect) {
        return QRectF(rect.x, barHeight - rect.y - rect.height, rect.width, rect.height);
    };
    const jumpbar::BarDrawing drawing =
        logic.drawing({static_cast<double>(dirty.x()), barHeight - dirty.y() - dirty.height(),
                       static_cast<double>(dirty.width()), static_cast<double>(dirty.height())});
    QPainter painter(this);
    const QRectF background = flipped(drawing.background);
    QLinearGradient gradient(background.topLeft(), background.bottomLeft());
    gradient.setColorAt(0, colorFor(drawing.top));
    gradient.setColorAt(1, colorFor(drawing.bottom));
    painter.fillRect(background, gradient);
    for (const platform::Rect& border : drawing.borders)
        painter.fillRect(flipped(border), colorFor(drawing.border));
}

void JumpBarWidget::resizeEvent(QResizeEvent*) {
    logic.setFrame({static_cast<double>(x()), static_cast<double>(y()), static_cast<double>(width()),
                    static_cast<double>(height())});
    for (const auto& [level, widget] : labelWidgets)
        widget->takeUp(*logic.labels().at(level));
}

void JumpBarWidget::focusLabel(int level) {
    const auto widget = labelWidgets.find(level);
    if (widget != labelWidgets.end()) widget->second->setFocus(Qt::OtherFocusReason);
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
