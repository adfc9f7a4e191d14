// The logic's colours and fonts as Qt's.
#pragma once

#include "jumpbar/VxJumpBarView.h"
#include "platform/Font.h"

#include <QColor>
#include <QFont>
#include <QFontDatabase>

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

} // namespace backends::qt
