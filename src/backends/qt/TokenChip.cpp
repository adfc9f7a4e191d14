#include "backends/qt/TokenChip.h"

#include "backends/qt/drawing.h"
#include "backends/qt/texts.h"

#include <QAccessibleWidget>
#include <QEvent>
#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>
#include <utility>

namespace backends::qt {
namespace {

constexpr int sideMargin = 8;
constexpr int verticalMargin = 2;
constexpr int wave = 2; // height and half a length of the line below a token that is not an address

void drawWave(QPainter& painter, int left, int right, int top) {
    QPainterPath path(QPointF(left, top));
    for (int x = left; x < right; x += 2 * wave) {
        path.lineTo(x + wave, top + wave);
        path.lineTo(x + 2 * wave, top);
    }
    painter.drawPath(path);
}

class AccessibleToken final : public QAccessibleWidget {
  public:
    explicit AccessibleToken(TokenChip& shownChip)
        : QAccessibleWidget(&shownChip, QAccessible::Button), chip(shownChip) {}

    QStringList actionNames() const override {
        return QStringList{pressAction(), removeAction()} + QAccessibleWidget::actionNames();
    }
    QString localizedActionName(const QString& name) const override {
        if (name == pressAction()) return shown("Edit");
        if (name == removeAction()) return shown("Remove");
        return QAccessibleWidget::localizedActionName(name);
    }
    void doAction(const QString& name) override {
        if (name == pressAction())
            emit chip.editWanted();
        else if (name == removeAction())
            emit chip.removeWanted();
        else
            QAccessibleWidget::doAction(name);
    }
    QStringList keyBindingsForAction(const QString& name) const override {
        if (name == pressAction()) return {QStringLiteral("Return")};
        if (name == removeAction()) return {QStringLiteral("Delete")};
        return QAccessibleWidget::keyBindingsForAction(name);
    }

  private:
    static QString removeAction() { return QStringLiteral("Remove"); }
    TokenChip& chip;
};

} // namespace

TokenChip::TokenChip(panels::FieldObject shownObject, const QString& shownText, panels::TokenStyle tokenStyle,
                     QWidget* parent)
    : QWidget(parent), represented(std::move(shownObject)), text(shownText), look(tokenStyle) {
    setObjectName(QStringLiteral("token"));
    setFocusPolicy(Qt::ClickFocus);
    const auto* token = std::get_if<panels::TSFPEmailToken>(&represented);
    const QString address =
        QString::fromStdString(token == nullptr ? std::get<std::string>(represented) : token->email);
    setToolTip(address);
    QString name = text == address ? text : text + QStringLiteral(", ") + address;
    if (look == panels::TokenStyle::plainText) name += QStringLiteral(", ") + shown("not an e-mail address");
    setAccessibleName(name);
}

QAccessibleInterface* accessibleToken(TokenChip& chip) { return new AccessibleToken(chip); }

QSize TokenChip::sizeHint() const {
    if (measured.isValid()) return measured;
    // Rounded up: with a pixel too few the text would be cut.
    const QFontMetricsF metrics(font());
    measured = {static_cast<int>(std::ceil(metrics.horizontalAdvance(text))) + 2 * sideMargin,
                static_cast<int>(std::ceil(metrics.height())) + 2 * verticalMargin};
    return measured;
}

QSize TokenChip::minimumSizeHint() const {
    const QSize whole = sizeHint();
    return {std::min(whole.width(), 4 * whole.height()), whole.height()};
}

void TokenChip::changeEvent(QEvent* event) {
    if (event->type() == QEvent::FontChange) measured = {};
    QWidget::changeEvent(event);
}

void TokenChip::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor ink = palette().color(QPalette::Text);
    const QColor highlight = palette().color(QPalette::Highlight);
    if (hasFocus()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(highlight);
        painter.drawRoundedRect(rect(), height() / 2.0, height() / 2.0);
        ink = palette().color(QPalette::HighlightedText);
    } else if (look == panels::TokenStyle::rounded) {
        QColor fill = highlight;
        fill.setAlphaF(0.18F);
        painter.setPen(QPen(highlight, 1));
        painter.setBrush(fill);
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), height() / 2.0,
                                height() / 2.0);
    } else {
        ink = errorInk(palette());
    }
    painter.setPen(ink);
    const QRect inner = rect().adjusted(sideMargin, 0, -sideMargin, 0);
    const QString seen = fontMetrics().elidedText(text, Qt::ElideRight, inner.width());
    painter.drawText(inner, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine, seen);
    if (look == panels::TokenStyle::plainText)
        drawWave(painter, inner.left(), inner.left() + fontMetrics().horizontalAdvance(seen),
                 height() - verticalMargin - wave);
}

void TokenChip::focusInEvent(QFocusEvent*) { update(); }
void TokenChip::focusOutEvent(QFocusEvent*) { update(); }
void TokenChip::mouseDoubleClickEvent(QMouseEvent*) { emit editWanted(); }

} // namespace backends::qt
