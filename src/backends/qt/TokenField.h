// A field of tokens, as mail programs have it: what is typed is completed, Enter, Tab or a comma makes a
// token of it, Backspace before the text removes the last token, a paste of several addresses makes several
// tokens. A token is edited again by a double-click or Enter on it. No address stands in the field twice.
//
// What a token is, shows and looks like is the delegate's to say; the field holds objects and draws them. The
// delegate is not retained and outlives the field. Main thread only.
#pragma once

#include "panels/TSFPShareByEmailController.h"

#include <QScrollArea>
#include <set>
#include <string>
#include <string_view>
#include <vector>

class QCompleter;
class QLineEdit;
class QStringListModel;

namespace backends::qt {

class FlowLayout;
class TokenChip;

class TokenFieldDelegate {
  public:
    virtual std::vector<std::string> completionsForSubstring(std::string_view typed) = 0;
    virtual std::vector<panels::FieldObject>
    shouldAddObjects(const std::vector<panels::FieldObject>& objects) = 0;
    virtual std::string displayStringForRepresentedObject(const panels::FieldObject& object) = 0;
    virtual std::string editingStringForRepresentedObject(const panels::FieldObject& object) = 0;
    virtual panels::TokenStyle styleForRepresentedObject(const panels::FieldObject& object) = 0;
    virtual void controlTextDidChange() = 0; // typed, added or removed; not by setObjects

  protected:
    ~TokenFieldDelegate() = default;
};

class TokenField final : public QScrollArea {
    Q_OBJECT
  public:
    explicit TokenField(TokenFieldDelegate& fieldDelegate, QWidget* parent = nullptr);

    // The tokens, and last what is being typed, without the blanks around it, when there is any.
    std::vector<panels::FieldObject> objects() const;
    void setObjects(const std::vector<panels::FieldObject>& objects);

    // Makes tokens of entries as they are typed, behind those that are there.
    void add(const std::vector<std::string>& entries);

    // The texts of the tokens that are not addresses; the first of these gets the keyboard.
    QStringList invalidTokens() const;
    void focusInvalidToken();

    QLineEdit* edit() const { return line; }
    QSize sizeHint() const override;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

  private:
    bool keyInLine(class QKeyEvent& key);
    bool keyOnChip(QKeyEvent& key, TokenChip& chip);
    void paste();
    void complete();
    void acceptCompletion(int row);
    bool tokenise(); // what is typed; whether there was anything
    void appendChip(const panels::FieldObject& object);
    void removeChip(std::size_t index);
    void editChip(TokenChip& chip);
    void focusChip(std::size_t index); // past the last: the line
    void fit();
    std::size_t indexOf(const TokenChip& chip) const;

    TokenFieldDelegate& delegate;
    FlowLayout* flow = nullptr;
    QLineEdit* line = nullptr;
    QCompleter* completer = nullptr;
    QStringListModel* completions = nullptr;
    std::vector<std::string> completedAddresses; // of the rows of completions
    std::vector<TokenChip*> chips;               // children
    std::set<std::string> addresses;             // the chips' addresses
};

} // namespace backends::qt
