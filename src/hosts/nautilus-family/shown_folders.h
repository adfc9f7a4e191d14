/* What Thunar's windows show, for the menus.
 *
 * Thunar tells a plugin of an item only when it is selected, and asks for the menu in the same turn when that
 * is done by a right click: of an item that was never met nothing would be known, and its menu would lack our
 * entry. So the items of the folder that a window shows are met before: their names are read from the disk,
 * in the background, when the window has come to the folder, and what comes later is heard of. Main thread
 * only. */
#ifndef TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_SHOWN_FOLDERS_H
#define TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_SHOWN_FOLDERS_H

#include "hosts/nautilus-family/plugin.h"

/* Of all windows of the process, now and later. The plugin lives as long as the process. */
void tsf_shown_folders_follow(TsfPlugin* plugin);

#endif
