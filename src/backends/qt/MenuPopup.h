// A popped-up menu as a list that can be scrolled and typed into, with its submenus beside it.
//
// Hovering or moving to an item highlights it; an item with a submenu opens it after a moment, or at once by
// the Right key. A click, Enter or Space chooses the item, even one that has a submenu. Left closes a
// submenu, Escape the whole menu. Typing shows only the items that contain the text.
//
// Submenus open side by side as long as the screen has room. After that each opens below the row that it
// belongs to, a little to the right, so that the rows that lead to the innermost one stay readable.
//
// The popup deletes itself when it is closed; a submenu's popup belongs to the one it came from. The owner
// outlives them. Main thread only.
#pragma once

#include "backends/qt/MenuModel.h"
#include "platform/Menu.h"

#include <QPointer>
#include <QTimer>
#include <QWidget>

class QLineEdit;
class QListView;

namespace backends::qt {

// Whoever popped the menu up. When the menu closes, exactly one of the last two is called.
class MenuPopupOwner {
  public:
    virtual void itemHighlighted(platform::Menu& menu, platform::MenuItem& item) = 0;
    virtual void itemChosen(const platform::MenuItemHandle& item) = 0;
    virtual void menuDismissed() = 0;

  protected:
    ~MenuPopupOwner() = default;
};

class MenuPopup final : public QWidget {
    Q_OBJECT
  public:
    MenuPopup(const platform::MenuHandle& menu, MenuPopupOwner& popupOwner, QWidget* parent);

    // Shows the menu so that the item lies with its upper left corner at the point (global), as far as the
    // screen allows.
    void popUp(QPoint at, const platform::MenuItem& item);

    MenuPopup* openMenu() const { return submenu; } // the submenu beside it; null: none

    // The items of that menu were replaced; takes them up where the menu is open.
    void menuChanged(const platform::Menu& menu);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

  private:
    MenuPopup(const platform::MenuHandle& menu, MenuPopup& parentPopup);
    void build();
    int frameWidth() const;
    int topOfList() const;
    QSize contentSize(int rows) const;
    void fitTo(QSize room);
    void keepOnScreen();
    void placeBeside(const QRect& row, const QRect& area);
    void itemsChanged();
    void currentChanged(const QModelIndex& index);
    void typed(const QString& text);

    bool navigate(QKeyEvent& key, bool inFilter);
    void hover(QPoint global);
    void release(QPoint global);
    void openSubmenu(bool byKeyboard);
    void closeSubmenu();
    void selectFirst();
    void choose(const QModelIndex& index);
    MenuPopup& root();
    MenuPopup* popupAt(QPoint global); // this one or one that it came from; null outside all

    MenuPopupOwner& owner;
    MenuPopup* const above = nullptr; // the popup that this submenu came from
    MenuModel model;
    QLineEdit* filter = nullptr;
    QListView* list = nullptr;
    QPointer<MenuPopup> submenu;
    platform::MenuItemHandle submenuHolder; // the item whose submenu is open
    QTimer submenuTimer;
    bool openedByKeyboard = false;
    bool opensToTheLeft = false; // there was no room to the right of the whole menu
    bool mayRelease = false;     // the button went down in the menu, or the mouse was moved while it was down
    QPoint openedAt;             // global position of the mouse then
    bool settled = false;        // chosen or dismissed
};

} // namespace backends::qt
