// The logic's colours, fonts and points as Qt's.
//
// A point is a logical pixel at the usual size of the desktop's font, and grows with a larger one, so that
// text and geometry grow together. Main thread only.
#pragma once

#include "jumpbar/VxJumpBarView.h"
#include "platform/Font.h"

#include <QApplication>
#include <QColor>
#include <QFont>
#include <QFontInfo>
#include <QPalette>
#include <algorithm>

namespace backends::qt {

inline QColor colorFor(const jumpbar::White& grey) {
    const auto level = static_cast<float>(grey.white);
    return QColor::fromRgbF(level, level, level, static_cast<float>(grey.alpha));
}

// Logical pixels to a point; at least 1.
inline double pointScale() {
    constexpr double usualFont = 40.0 / 3; // pixels: 10 points of 72 to an inch, on 96 pixels to an inch
    return std::max(1.0, QFontInfo(QApplication::font()).pixelSize() / usualFont);
}
inline int pixels(double points) { return qRound(points * pointScale()); }

inline QFont fontFor(const platform::Font& font) {
    QFont result = QApplication::font();
    result.setPixelSize(pixels(font.size));
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

// The red in which something wrong is shown, as light or dark as the palette asks.
inline QColor errorInk(const QPalette& palette) {
    return palette.color(QPalette::Base).lightness() < 128 ? QColor(0xff, 0x8a, 0x80)
                                                           : QColor(0xb3, 0x26, 0x1e);
}

} // namespace backends::qt
