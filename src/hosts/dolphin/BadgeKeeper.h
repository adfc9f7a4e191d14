// The host core (hosts/core) in a Qt event loop: URLs of the file manager in, emblems and menus out.
//
// A question about an item is answered at once from what is known; when the answer is another one later, the
// file manager is told so, a few items in each turn of the event loop, and asks anew from within that. It
// never tells that an item is shown no longer: who does not ask then shows it no more.
//
// The badges and the menu are two plugins of one process, which share one keeper. GUI thread only.
#pragma once

#include "hosts/core/core.h"
#include "hosts/dolphin/ExtensionLink.h"

#include <QPointer>
#include <QTimer>
#include <QUrl>
#include <functional>
#include <optional>
#include <vector>

namespace hosts::dolphin {

class Menu;

// What a menu is about. An item is read when it is looked at, since there may be thousands.
struct Selection {
    std::function<QUrl(int)> url;
    int count = 0;
    bool isFirstDirectory = false; // links resolved
    int looked = 0;                // the items before have been looked at; 0: it begins anew
    TsfSelection found = {};       // among them

    bool isLookedThrough() const { return looked == count; }
};

class BadgeKeeper : public QObject {
    Q_OBJECT
  public:
    // The one of this process, for the plugins of this version; made when the first of them asks, and there
    // until the process ends. Null: no memory.
    static BadgeKeeper* shared();

    BadgeKeeper();
    ~BadgeKeeper() override;

    // Whoever is to be told that an item's emblem is to be asked for anew; none: nothing is shown.
    std::function<void(const QUrl&)> changed;

    // The icon of the emblem that an item has now, empty for none; it is also the cause of asking for it.
    QString emblem(const QUrl& url);

    // The class of a selection of items, by what is known of them: only an item that was never seen is asked
    // for. None: the turn of the event loop is over before all were looked at, and it goes on with the next
    // call; or all were, and something is not known yet: the menu that waits is filled when it is.
    std::optional<TSyncSelectionClass> classify(Selection& selection);
    // Null: there is none. Lives until the next turn of the event loop.
    const MenuItems* menuOf(TSyncSelectionClass selectionClass) const { return link.menu(selectionClass); }
    // The menu is told when it may be another one.
    void wait(Menu* menu);
    // The file manager is held up as long as what is returned is there.
    ExtensionLink::Turn turn() { return ExtensionLink::Turn(link); }
    // Sends the choice of an item.
    void activate(const QString& item, const Selection& selection);

  private:
    TsfItem* itemOf(const QUrl& url);
    void arm();
    void serve();
    void fillMenus();
    void showAnew();

    TsfCore* core;
    ExtensionLink link;
    QTimer work;    // the core has something to do
    QTimer showing; // badges are to be shown anew, in the next turn of the event loop
    std::vector<QPointer<Menu>> waiting;
};

} // namespace hosts::dolphin
