// The menu, as Dolphin and the desktop see it. The desktop's process is the whole shell: nothing here waits.
#include "hosts/dolphin/Menu.h"

#include <KAbstractFileItemActionPlugin>
#include <KFileItem>
#include <KFileItemListProperties>
#include <KPluginFactory>
#include <memory>

// `tsyncfinder doctor` looks for it in the file of an installed plugin.
extern "C" Q_DECL_EXPORT const char tsyncfinder_plugin_version[];
const char tsyncfinder_plugin_version[] = "tsyncfinder-plugin-version=" TSYNCFINDER_VERSION;

namespace hosts::dolphin {

class ActionPlugin : public KAbstractFileItemActionPlugin {
    Q_OBJECT
  public:
    ActionPlugin(QObject* parent, const QVariantList& /*arguments*/)
        : KAbstractFileItemActionPlugin(parent), keeper(BadgeKeeper::shared()) {}

    // The former menu has gone when another one is asked for; what was chosen in it may still be on its way.
    QList<QAction*> actions(const KFileItemListProperties& properties, QWidget* /*parent*/) override {
        if (menu) menu.release()->deleteLater();
        if (keeper == nullptr || properties.items().isEmpty()) return {};
        QList<QUrl> selection;
        for (const KFileItem& item : properties.items())
            selection.append(item.mostLocalUrl());
        menu = std::make_unique<Menu>(*keeper, selection, properties.items().first().isDir());
        return menu->actions();
    }

  private:
    BadgeKeeper* keeper;
    std::unique_ptr<Menu> menu;
};

} // namespace hosts::dolphin

using hosts::dolphin::ActionPlugin;
K_PLUGIN_CLASS_WITH_JSON(ActionPlugin, "action_plugin.json")

#include "action_plugin.moc"
