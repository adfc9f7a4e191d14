// One token in the field: rounded, or plain text where its address is none. Takes the keyboard's focus, so
// that it can be removed and read out. Main thread only.
#pragma once

#include "panels/TSFPShareByEmailController.h"

#include <QWidget>

namespace backends::qt {

class TokenChip final : public QWidget {
    Q_OBJECT
  public:
    TokenChip(panels::FieldObject shownObject, const QString& shownText, panels::TokenStyle tokenStyle,
              QWidget* parent);

    const panels::FieldObject& object() const { return represented; }
    panels::TokenStyle tokenStyle() const { return look; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

  private:
    panels::FieldObject represented;
    QString text;
    panels::TokenStyle look;
};

} // namespace backends::qt
