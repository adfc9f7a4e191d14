#include "backends/qt/texts.h"

#include "panels/TSFPSavePanel.h"
#include "protocol/translations.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QTextBoundaryFinder>
#include <QTranslator>

namespace backends::qt {
namespace {

constexpr QChar zeroWidthSpace(0x200B);
const QString separator = QStringLiteral(" › "); // between the titles of a path
constexpr int longestRun = 24;                   // characters: words of any language stay whole
constexpr int step = 8;                          // characters between two places to break a longer run in

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

void translateToolkit() {
    const QString language = QString::fromUtf8(tsyncMessageLocale()).left(2);
    auto* translator = new QTranslator(QCoreApplication::instance());
    // Only where our own texts are translated: two languages in a window would be worse than one.
    if (shown("Cancel") != u"Cancel" && translator->load(QStringLiteral("qtbase_") + language,
                                                         QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(translator);
}

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

bool isNewFolder(const platform::ImageHandle& image) {
    return image && image->name == panels::newFolderImageName;
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

QString toolTipOf(const QString& name) {
    const QString broken = QString::fromStdString(breakable(name.toStdString()));
    return name.isEmpty() ? QString()
                          : QStringLiteral("<qt>") + broken.toHtmlEscaped(); // only rich text wraps
}

QString pathOf(const QStringList& titles) { return titles.join(separator); }

QString pathInWidth(const QStringList& titles, const QFontMetrics& metrics, int width) {
    if (titles.isEmpty()) return {};
    const QString omitted = QStringLiteral("…") + separator;
    QString line = titles.last();
    for (qsizetype index = titles.size() - 2; index >= 0; --index) {
        const QString longer = titles[index] + separator + line;
        const int room = width - (index > 0 ? metrics.horizontalAdvance(omitted) : 0);
        if (metrics.horizontalAdvance(longer) > room)
            return metrics.elidedText(omitted + line, Qt::ElideMiddle, width);
        line = longer;
    }
    return metrics.elidedText(line, Qt::ElideMiddle, width);
}

} // namespace backends::qt
