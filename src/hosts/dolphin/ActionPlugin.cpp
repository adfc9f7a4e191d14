#include "hosts/dolphin/ActionPlugin.h"

#include <KFileItem>
#include <KFileItemListProperties>
#include <KPluginFactory>

// `tsyncfinder doctor` looks for it in the file of an installed plugin.
extern "C" Q_DECL_EXPORT const char tsyncfinder_plugin_version[];
const char tsyncfinder_plugin_version[] = "tsyncfinder-plugin-version=" TSYNCFINDER_VERSION;

namespace hosts::dolphin {

ActionPlugin::ActionPlugin(QObject* parent, const QVariantList& /*arguments*/)
    : KAbstractFileItemActionPlugin(parent), keeper(BadgeKeeper::shared()) {}

ActionPlugin::~ActionPlugin() { dropMenu(); }

// What was chosen in it may still be on its way.
void ActionPlugin::dropMenu() {
    if (menu != nullptr) menu->deleteLater();
}

QList<QAction*> ActionPlugin::actions(const KFileItemListProperties& properties, QWidget* /*parent*/) {
    dropMenu();
    const KFileItemList items = properties.items();
    if (keeper == nullptr || items.isEmpty()) return {};
    const auto held = keeper->turn();
    const auto url = [items](int i) { // what is local already would be taken apart and put together again
        const KFileItem& item = items.at(i);
        return item.isLocalFile() ? item.url() : item.mostLocalUrl();
    };
    menu = new Menu(*keeper, {url, static_cast<int>(items.size()), items.first().isDir()});
    return menu->actions();
}

} // namespace hosts::dolphin

using hosts::dolphin::ActionPlugin;
K_PLUGIN_CLASS_WITH_JSON(ActionPlugin, "action_plugin.json")

#include "ActionPlugin.moc"
