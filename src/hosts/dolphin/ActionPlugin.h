// The menu, as Dolphin and the desktop see it. The desktop's process is the whole shell: nothing here waits.
// GUI thread only.
#pragma once

#include "hosts/dolphin/Menu.h"

#include <KAbstractFileItemActionPlugin>
#include <QPointer>

namespace hosts::dolphin {

class ActionPlugin : public KAbstractFileItemActionPlugin {
    Q_OBJECT
  public:
    ActionPlugin(QObject* parent, const QVariantList& arguments);
    ~ActionPlugin() override;
    ActionPlugin(const ActionPlugin&) = delete;
    ActionPlugin& operator=(const ActionPlugin&) = delete;

    // They live until others are asked for.
    QList<QAction*> actions(const KFileItemListProperties& properties, QWidget* parent) override;

  private:
    void dropMenu();

    BadgeKeeper* keeper; // null: this is no GUI thread
    QPointer<Menu> menu;
};

} // namespace hosts::dolphin
