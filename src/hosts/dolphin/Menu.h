// The part of a context menu that is ours, for one selection.
//
// It is made at once of what is known. When the selection is not known well enough, or too large for one turn
// of the event loop, its actions are there without their submenus, and get them when the extension has
// answered or all items were looked at. While no menu of the extension is known, one hidden action waits for
// it: the desktop's shell loads the plugin for its first menu, and takes the actions at once. GUI thread
// only.
#pragma once

#include "hosts/dolphin/BadgeKeeper.h"

#include <QAction>
#include <QList>
#include <QMenu>
#include <memory>
#include <vector>

namespace hosts::dolphin {

class Menu : public QObject {
    Q_OBJECT
  public:
    // The keeper outlives the menu.
    Menu(BadgeKeeper& keeper, Selection selection);
    ~Menu() override;

    // Owned by the menu, and there as long as it is.
    QList<QAction*> actions() const;

    // For the keeper: the selection may be known now.
    void fill();
    // Whether items of the selection are asked for.
    bool hasItems() const { return isBegun; }

  private:
    void begin();
    void look();
    void make(QAction& action, const MenuItem& item);

    BadgeKeeper& keeper;
    Selection selection;
    bool isBegun = false; // the menus are known
    std::vector<std::unique_ptr<QAction>> tops;
    std::vector<std::unique_ptr<QMenu>> submenus;
};

} // namespace hosts::dolphin
