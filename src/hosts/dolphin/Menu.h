// The part of a context menu that is ours, for one selection.
//
// It is made at once of what is known. When the selection is not known well enough, its actions are there
// without their submenus, and get them when the extension has answered. GUI thread only.
#pragma once

#include "hosts/dolphin/BadgeKeeper.h"

#include <QAction>
#include <QList>
#include <QMenu>
#include <QUrl>
#include <memory>
#include <vector>

namespace hosts::dolphin {

class Menu : public QObject {
    Q_OBJECT
  public:
    // The keeper outlives the menu. isFirstDirectory: of the selection's first item, links resolved.
    Menu(BadgeKeeper& keeper, QList<QUrl> selection, bool isFirstDirectory);
    ~Menu() override;

    // Owned by the menu, and there as long as it is; none: the extension is not there.
    QList<QAction*> actions() const;

    // For the keeper: the selection may be known now.
    void fill();

  private:
    void make(QAction& action, const MenuItem& item);

    BadgeKeeper& keeper;
    const QList<QUrl> selection;
    const bool isFirstDirectory;
    std::vector<std::unique_ptr<QAction>> tops;
    std::vector<std::unique_ptr<QMenu>> submenus;
};

} // namespace hosts::dolphin
