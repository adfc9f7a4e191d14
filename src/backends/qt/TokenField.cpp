#include "backends/qt/TokenField.h"

#include "backends/qt/FlowLayout.h"
#include "backends/qt/TokenChip.h"
#include "backends/qt/texts.h"
#include "panels/email_entry.h"

#include <QAbstractItemView>
#include <QAccessibleWidget>
#include <QClipboard>
#include <QCompleter>
#include <QFocusEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QScrollBar>
#include <QStringListModel>
#include <algorithm>
#include <functional>
#include <utility>

namespace backends::qt {
namespace {

constexpr int visibleRows = 3;
constexpr int shownCompletions = 8;
constexpr int longestText = 1 << 24; // characters: nothing that is dropped or pasted is cut off

// The line hands its keys to the field first. Not by an event filter: while the list of completions is open,
// keys come straight to the line.
class TokenLine final : public QLineEdit {
  public:
    using KeyHandler = std::function<bool(QKeyEvent&)>;
    TokenLine(KeyHandler keyHandler, QWidget* parent) : QLineEdit(parent), handles(std::move(keyHandler)) {}

    bool event(QEvent* event) override {
        if (event->type() == QEvent::KeyPress && handles(*static_cast<QKeyEvent*>(event))) {
            event->accept();
            return true;
        }
        return QLineEdit::event(event);
    }

  private:
    KeyHandler handles;
};

QAccessibleInterface* accessibleOf(const QString&, QObject* object) {
    if (auto* field = qobject_cast<TokenField*>(object))
        return new QAccessibleWidget(field, QAccessible::Grouping);
    auto* chip = qobject_cast<TokenChip*>(object);
    return chip == nullptr ? nullptr : accessibleToken(*chip);
}

} // namespace

TokenField::TokenField(TokenFieldDelegate& fieldDelegate, QWidget* parent)
    : QScrollArea(parent), delegate(fieldDelegate) {
    QAccessible::installFactory(accessibleOf); // once, however often it is called
    setObjectName(QStringLiteral("emails"));
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setBackgroundRole(QPalette::Base);
    viewport()->setBackgroundRole(QPalette::Base);
    viewport()->setAutoFillBackground(true);
    setFocusPolicy(Qt::NoFocus);
    setAccessibleName(shown("Recipients"));

    auto* content = new QWidget;
    content->setBackgroundRole(QPalette::Base);
    content->setAutoFillBackground(true);
    flow = new FlowLayout(content);
    flow->setContentsMargins(4, 4, 4, 4);
    flow->setSpacing(4);
    setWidget(content);

    line = new TokenLine([this](QKeyEvent& key) { return keyInLine(key); }, content);
    line->setFrame(false);
    line->setMinimumWidth(120);
    line->setMaxLength(longestText);
    line->setPlaceholderText(shown("Names or e-mail addresses"));
    line->setAccessibleName(shown("Recipients"));
    line->installEventFilter(this);
    flow->addWidget(line);
    setFocusProxy(line);
    connect(line, &QLineEdit::textEdited, this, [this] {
        complete();
        delegate.controlTextDidChange();
    });

    completions = new QStringListModel(this);
    completer = new QCompleter(completions, this);
    completer->setCompletionMode(QCompleter::UnfilteredPopupCompletion); // the delegate has chosen already
    completer->setMaxVisibleItems(shownCompletions);
    completer->setWidget(line);
    completer->popup()->setAccessibleName(shown("Address book"));
    connect(completer, qOverload<const QModelIndex&>(&QCompleter::activated), this,
            [this](const QModelIndex& index) { acceptCompletion(index.row()); });
}

QSize TokenField::sizeHint() const {
    const int row = line->sizeHint().height() + flow->spacing();
    return {420, visibleRows * row + 8 + 2 * QScrollArea::frameWidth()};
}

std::vector<panels::FieldObject> TokenField::objects() const {
    std::vector<panels::FieldObject> held;
    for (const TokenChip* chip : chips)
        held.push_back(chip->object());
    const QString text = line->text().trimmed();
    if (!text.isEmpty()) held.emplace_back(text.toStdString());
    return held;
}

void TokenField::setObjects(const std::vector<panels::FieldObject>& objects) {
    flow->setEnabled(false); // places all of them once, in fit()
    while (!chips.empty())
        removeChip(chips.size() - 1);
    line->clear();
    for (const panels::FieldObject& object : objects) {
        const auto* text = std::get_if<std::string>(&object);
        if (text == nullptr)
            appendChip(object);
        else
            line->setText(QString::fromStdString(*text)); // text is what is being typed
    }
    fit();
}

QStringList TokenField::invalidTokens() const {
    QStringList texts;
    for (const TokenChip* chip : chips)
        if (chip->tokenStyle() == panels::TokenStyle::plainText)
            texts.append(QString::fromStdString(delegate.editingStringForRepresentedObject(chip->object())));
    return texts;
}

void TokenField::focusInvalidToken() {
    for (TokenChip* chip : chips) {
        if (chip->tokenStyle() != panels::TokenStyle::plainText) continue;
        chip->setFocus();
        ensureWidgetVisible(chip);
        return;
    }
}

void TokenField::appendChip(const panels::FieldObject& object) {
    if (!addresses.insert(delegate.editingStringForRepresentedObject(object)).second) return;
    auto* chip =
        new TokenChip(object, QString::fromStdString(delegate.displayStringForRepresentedObject(object)),
                      delegate.styleForRepresentedObject(object), widget());
    chip->installEventFilter(this);
    connect(chip, &TokenChip::editWanted, this, [this, chip] { editChip(*chip); });
    connect(chip, &TokenChip::removeWanted, this, [this, chip] {
        removeChip(indexOf(*chip));
        fit();
        delegate.controlTextDidChange();
    });
    flow->insertWidget(static_cast<int>(chips.size()), chip);
    chips.push_back(chip);
    chip->show();
}

void TokenField::removeChip(std::size_t index) {
    TokenChip* chip = chips[index];
    addresses.erase(delegate.editingStringForRepresentedObject(chip->object()));
    chips.erase(chips.begin() + static_cast<std::ptrdiff_t>(index));
    delete flow->takeAt(static_cast<int>(index));
    chip->hide();
    chip->deleteLater(); // it may be handling the key that removes it
}

std::size_t TokenField::indexOf(const TokenChip& chip) const {
    return static_cast<std::size_t>(std::find(chips.begin(), chips.end(), &chip) - chips.begin());
}

void TokenField::fit() {
    flow->setEnabled(true);
    flow->invalidate();
    line->setPlaceholderText(chips.empty() ? shown("Names or e-mail addresses") : QString());
    line->raise(); // after the tokens where they are read out, too
    widget()->setMinimumHeight(flow->heightForWidth(viewport()->width()));
    flow->activate();
    ensureWidgetVisible(line);
}

void TokenField::resizeEvent(QResizeEvent* event) {
    QScrollArea::resizeEvent(event);
    fit();
}

void TokenField::mousePressEvent(QMouseEvent*) { line->setFocus(); }

void TokenField::complete() {
    const std::string typed = line->text().trimmed().toStdString();
    const std::vector<std::string> found =
        typed.empty() ? std::vector<std::string>{} : delegate.completionsForSubstring(typed);
    if (found.empty()) {
        completer->popup()->hide();
        return;
    }
    QStringList shownStrings;
    shownStrings.reserve(static_cast<qsizetype>(found.size()));
    completedAddresses.clear();
    for (const std::string& completion : found) {
        // A name is shown in the person's own letters, not in the typed ones.
        std::string address = panels::addressInCompletion(completion);
        const bool isOfName = completion.ends_with('>');
        shownStrings.append(QString::fromStdString(
            isOfName ? delegate.displayStringForRepresentedObject(address) + " <" + address + ">"
                     : completion));
        completedAddresses.push_back(std::move(address));
    }
    completions->setStringList(shownStrings);
    completer->complete();
    // Enter takes the first one, unless what is typed is an address already.
    if (!panels::validateEmail(typed))
        completer->popup()->setCurrentIndex(completer->completionModel()->index(0, 0));
}

void TokenField::acceptCompletion(int row) {
    completer->popup()->hide();
    line->clear();
    add({completedAddresses.at(static_cast<std::size_t>(row))});
}

bool TokenField::tokenise() {
    const std::vector<std::string> entries = panels::entriesInText(line->text().toStdString());
    completer->popup()->hide();
    line->clear();
    add(entries);
    return !entries.empty();
}

void TokenField::add(const std::vector<std::string>& entries) {
    flow->setEnabled(false); // places all of them once, in fit()
    for (const panels::FieldObject& object : delegate.shouldAddObjects({entries.begin(), entries.end()}))
        appendChip(object);
    fit();
    delegate.controlTextDidChange();
}

void TokenField::paste() {
    // One entry is text to go on typing in; several are tokens, together with what was typed around them.
    // They do not go through the line, which takes a limited number of characters.
    const QString pasted = QGuiApplication::clipboard()->text();
    if (panels::entriesInText(pasted.toStdString()).size() < 2) {
        line->paste();
        return;
    }
    if (line->hasSelectedText()) line->del();
    QString whole = line->text();
    whole.insert(line->cursorPosition(), pasted);
    completer->popup()->hide();
    line->clear();
    add(panels::entriesInText(whole.toStdString()));
}

void TokenField::editChip(TokenChip& chip) {
    const QString text = QString::fromStdString(delegate.editingStringForRepresentedObject(chip.object()));
    tokenise();
    removeChip(indexOf(chip));
    line->setText(text);
    line->selectAll();
    line->setFocus();
    fit();
    delegate.controlTextDidChange();
}

void TokenField::focusChip(std::size_t index) {
    if (index < chips.size())
        chips[index]->setFocus();
    else
        line->setFocus();
}

bool TokenField::keyInLine(QKeyEvent& key) {
    const bool atStart = line->cursorPosition() == 0 && !line->hasSelectedText();
    switch (key.key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Tab: {
        const QModelIndex current = completer->popup()->currentIndex();
        if (completer->popup()->isVisible() && current.isValid()) {
            acceptCompletion(current.row());
            return true;
        }
        return tokenise() && key.key() != Qt::Key_Tab; // an empty line leaves Enter to the window's OK
    }
    case Qt::Key_Comma:
    case Qt::Key_Semicolon:
        // Inside a quoted name they are part of it.
        if (line->text().count(u'"') % 2 != 0) return false;
        tokenise();
        return true;
    case Qt::Key_Backspace:
    case Qt::Key_Left:
        if (!atStart || chips.empty()) return false;
        if (key.key() == Qt::Key_Left) {
            focusChip(chips.size() - 1);
            return true;
        }
        removeChip(chips.size() - 1);
        fit();
        delegate.controlTextDidChange();
        return true;
    default:
        if (!key.matches(QKeySequence::Paste)) return false;
        paste();
        return true;
    }
}

bool TokenField::keyOnChip(QKeyEvent& key, TokenChip& chip) {
    const std::size_t index = indexOf(chip);
    switch (key.key()) {
    case Qt::Key_Left:
        if (index > 0) focusChip(index - 1);
        return true;
    case Qt::Key_Right:
        focusChip(index + 1);
        return true;
    case Qt::Key_Backspace:
    case Qt::Key_Delete:
        removeChip(index);
        focusChip(index);
        fit();
        delegate.controlTextDidChange();
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        editChip(chip);
        return true;
    default:
        return false;
    }
}

bool TokenField::eventFilter(QObject* watched, QEvent* event) {
    auto* chip = dynamic_cast<TokenChip*>(watched);
    if (event->type() == QEvent::KeyPress) {
        if (chip != nullptr && keyOnChip(*static_cast<QKeyEvent*>(event), *chip)) return true;
    }
    if (line != nullptr && watched == line && event->type() == QEvent::FocusOut) {
        // Leaving the field ends the entry; another window in front or the list of completions does not.
        const Qt::FocusReason reason = static_cast<QFocusEvent*>(event)->reason();
        if (reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason ||
            reason == Qt::MouseFocusReason || reason == Qt::ShortcutFocusReason)
            tokenise();
    }
    return QScrollArea::eventFilter(watched, event);
}

} // namespace backends::qt
