#include "backends/qt/texts.h"

#include "protocol/translations.h"

#include <QTextBoundaryFinder>

namespace backends::qt {
namespace {

constexpr QChar zeroWidthSpace(0x200B);
constexpr int longestRun = 24; // characters: words of any language stay whole
constexpr int step = 8;        // characters between two places to break a longer run in

// Appends a run without blanks and separators.
void appendRun(QString& text, const QString& run) {
    QTextBoundaryFinder characters(QTextBoundaryFinder::Grapheme, run);
    QString broken;
    int count = 0;
    for (qsizetype start = 0, end = 0; (end = characters.toNextBoundary()) > start; start = end) {
        if (count > 0 && count % step == 0) broken += zeroWidthSpace;
        broken += QStringView(run).mid(start, end - start);
        ++count;
    }
    text += count > longestRun ? broken : run;
}

} // namespace

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

std::string breakable(const std::string& text) {
    QString broken;
    QString run;
    const auto endRun = [&] {
        appendRun(broken, run);
        run.clear();
    };
    for (const QChar unit : QString::fromStdString(text)) {
        if (unit != u'/' && !unit.isSpace()) {
            run += unit;
            continue;
        }
        endRun();
        broken += unit;
        if (unit == u'/') broken += zeroWidthSpace;
    }
    endRun();
    return broken.toStdString();
}

platform::DisplayText breakable(platform::DisplayText text) {
    for (std::string& argument : text.arguments)
        argument = breakable(argument);
    return text;
}

} // namespace backends::qt
