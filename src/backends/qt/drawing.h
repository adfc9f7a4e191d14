// The logic's colours and fonts as Qt's.
#pragma once

#include "jumpbar/VxJumpBarView.h"
#include "platform/Font.h"

#include <QColor>
#include <QFont>
#include <QFontDatabase>
#include <QPalette>

namespace backends::qt {

inline QColor colorFor(const jumpbar::White& grey) {
    const auto level = static_cast<float>(grey.white);
    return QColor::fromRgbF(level, level, level, static_cast<float>(grey.alpha));
}

// A point is a logical pixel here, so that text and geometry grow together.
inline QFont fontFor(const platform::Font& font) {
    QFont result = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    result.setPixelSize(qRound(font.size));
    result.setBold(font.name == platform::boldSystemFont(font.size).name);
    return result;
}

// Some desktops' themes make everything dark but the text that says what a field is for: it would be black on
// black.
inline QPalette withReadablePlaceholders(QPalette palette) {
    QColor ink = palette.color(QPalette::Text);
    ink.setAlphaF(0.55F);
    palette.setColor(QPalette::PlaceholderText, ink);
    return palette;
}

// What is wrong stands in red, as light or dark as the palette asks.
inline QColor errorInk(const QPalette& palette) {
    return palette.color(QPalette::Base).lightness() < 128 ? QColor(0xff, 0x8a, 0x80)
                                                           : QColor(0xb3, 0x26, 0x1e);
}

} // namespace backends::qt
