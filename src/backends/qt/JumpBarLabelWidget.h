// One label of the jump bar on the screen. It knows its label by the level and asks the bar for it each time,
// for layout may have removed it. Main thread only.
#pragma once

#include <QWidget>

namespace jumpbar {
class VxJumpBarLabel;
}

namespace backends::qt {

class JumpBarWidget;

class JumpBarLabelWidget final : public QWidget {
    Q_OBJECT
  public:
    JumpBarLabelWidget(JumpBarWidget& barWidget, int labelLevel);

    void takeUp(const jumpbar::VxJumpBarLabel& label); // its place, its name for assistive programs
    void openMenu();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

  private:
    JumpBarWidget& bar;
    const int level;
};

} // namespace backends::qt
