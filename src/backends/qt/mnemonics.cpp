#include "backends/qt/mnemonics.h"

#include <QAbstractButton>
#include <QKeySequence>
#include <QLabel>
#include <set>

namespace backends::qt {
namespace {

// Only letters that every keyboard has.
bool isCandidate(QChar letter) { return letter.unicode() < 0x80 && letter.isLetterOrNumber(); }

QString marked(const QString& text, std::set<QChar>& taken) {
    if (const qsizetype mark = text.indexOf(u'&'); mark >= 0) {
        if (mark + 1 < text.size()) taken.insert(text[mark + 1].toUpper());
        return text;
    }
    for (qsizetype at = 0; at < text.size(); ++at)
        if (isCandidate(text[at]) && taken.insert(text[at].toUpper()).second)
            return QString(text).insert(at, u'&');
    return text;
}

} // namespace

void giveMnemonics(QWidget& window) {
    std::set<QChar> taken;
    for (QWidget* widget : window.findChildren<QWidget*>()) {
        if (auto* button = qobject_cast<QAbstractButton*>(widget))
            button->setText(marked(button->text(), taken));
        else if (auto* label = qobject_cast<QLabel*>(widget); label != nullptr && label->buddy() != nullptr)
            label->setText(marked(label->text(), taken));
    }
}

} // namespace backends::qt
