// One token in the field: rounded, or plain text in the colour of errors with a wavy line below where it is
// not an address. Takes the keyboard's focus, so that it can be removed and read out; to assistive programs
// it is a button that can be edited (its press) and removed. Main thread only.
#pragma once

#include "panels/TSFPShareByEmailController.h"

#include <QSize>
#include <QWidget>

class QAccessibleInterface;

namespace backends::qt {

class TokenChip final : public QWidget {
    Q_OBJECT
  public:
    TokenChip(panels::FieldObject shownObject, const QString& shownText, panels::TokenStyle tokenStyle,
              QWidget* parent);

    const panels::FieldObject& object() const { return represented; }
    panels::TokenStyle tokenStyle() const { return look; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override; // a long text is elided

  signals:
    void editWanted();
    void removeWanted();

  protected:
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

  private:
    panels::FieldObject represented;
    QString text;
    panels::TokenStyle look;
    mutable QSize measured; // invalid: not in this font yet; layouts ask often
};

// What assistive programs are told of it; the toolkit takes it over.
QAccessibleInterface* accessibleToken(TokenChip& chip);

} // namespace backends::qt
