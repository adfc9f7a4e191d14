#include "backends/qt/texts.h"

#include "protocol/translations.h"

namespace backends::qt {

QString shown(const char* english) {
    return QString::fromUtf8(tsyncTranslated(english, tsyncMessageLocale()));
}

QString shown(const platform::DisplayText& text) {
    const char* format = tsyncTranslated(text.format.c_str(), tsyncMessageLocale());
    return QString::fromStdString(platform::filled(format, text.arguments));
}

QString shownTitle(const platform::MenuItem& item) {
    const std::string& title = item.attributedTitle ? item.attributedTitle->text : item.title;
    return item.representedObject ? QString::fromStdString(title) : shown(title.c_str());
}

std::string breakable(const std::string& path) {
    std::string text;
    for (const char byte : path) {
        text += byte;
        if (byte == '/') text += "\u200b"; // zero-width space
    }
    return text;
}

} // namespace backends::qt
