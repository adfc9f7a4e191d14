#include "backends/qt/TokenChip.h"

#include <QFontMetricsF>
#include <QPainter>
#include <cmath>
#include <utility>

namespace backends::qt {
namespace {

constexpr int sideMargin = 8;
constexpr int verticalMargin = 2;

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
    setAccessibleName(text == address ? text : text + QStringLiteral(", ") + address);
}

QSize TokenChip::sizeHint() const {
    // Rounded up: in a pixel too few the text would be cut.
    const QFontMetricsF metrics(font());
    return {static_cast<int>(std::ceil(metrics.horizontalAdvance(text))) + 2 * sideMargin,
            static_cast<int>(std::ceil(metrics.height())) + 2 * verticalMargin};
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
    }
    painter.setPen(ink);
    const QRect inner = rect().adjusted(sideMargin, 0, -sideMargin, 0);
    painter.drawText(inner, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
                     fontMetrics().elidedText(text, Qt::ElideRight, inner.width()));
}

void TokenChip::focusInEvent(QFocusEvent*) { update(); }
void TokenChip::focusOutEvent(QFocusEvent*) { update(); }

} // namespace backends::qt
