// The jump bar on the screen: it draws what the bar's logic says, with its own fixed colours in every theme,
// and carries clicks, keys and the window's key state to it.
//
// Each label is a child that takes the keyboard's focus: Tab goes from label to label, Space or Down opens
// the menu of one, and the focus follows the choice. The logic's geometry is in points with its origin at the
// lower left, the toolkit's in pixels with its origin at the upper left; the two meet only here. Main thread
// only.
#pragma once

#include "backends/qt/MenuPopup.h"
#include "jumpbar/VxJumpBar.h"

#include <QPointer>
#include <QWidget>
#include <map>
#include <memory>

namespace backends::qt {

class JumpBarLabelWidget;

class JumpBarWidget final : public QWidget, private jumpbar::VxJumpBarView, private MenuPopupOwner {
    Q_OBJECT
  public:
    explicit JumpBarWidget(QWidget* parent = nullptr);
    ~JumpBarWidget() override;

    jumpbar::VxJumpBar& bar() { return logic; }

    MenuPopup* openMenu() const { return popup; } // null: none

    void focusLabel(int level); // does nothing when there is none
    void focusLastLabel();      // of the path: the chosen folder's

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

  protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

  private:
    friend class JumpBarLabelWidget;

    QRectF toPixels(const platform::Rect& rect, double heightOfAll) const;

    platform::Size sizeOfText(const std::string& text, const jumpbar::TextAttributes& attributes) override;
    platform::ImageHandle imageNamed(const std::string& name) override;
    void setNeedsDisplay() override;
    void labelNeedsDisplay(jumpbar::VxJumpBarLabel& label) override;
    void layoutChanged() override;
    void menuChanged(platform::Menu& menu) override;
    void popUpMenu(jumpbar::VxJumpBarLabel& label, const platform::MenuHandle& menu, std::size_t index,
                   platform::Point location) override;

    void itemHighlighted(platform::Menu& menu, platform::MenuItem& item) override;
    void itemChosen(const platform::MenuItemHandle& item) override;
    void menuDismissed() override;

    const double scale;                              // pixels to a point
    std::map<int, JumpBarLabelWidget*> labelWidgets; // by level; children of this widget
    std::map<std::string, platform::ImageHandle> images;
    QPointer<MenuPopup> popup;
    std::weak_ptr<jumpbar::VxJumpBarLabel> clicked; // whose menu the popup shows
    jumpbar::VxJumpBar logic;                       // last: it calls back while it is made
};

} // namespace backends::qt
