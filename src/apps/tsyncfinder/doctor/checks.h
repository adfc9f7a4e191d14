// What the doctor looks at. Each function may take as long as a stopped process or a dead disk makes it: the
// caller bounds it. None of them changes or starts anything.
#pragma once

#include "apps/tsyncfinder/doctor/Finding.h"

namespace apps::tsyncfinder::doctor {

// The bus, the extension process with its version, the sync daemon, and whether the bus can start the
// extension.
Findings checkBus();

// The sync service: is it installed, set up and running, is its storage reached, and rclone's version.
Findings checkService();

// For each file manager of the Nautilus family: is the plugin there, of this version, and in the process that
// runs now.
Findings checkPlugins();

// What switches a plugin off in a file manager's own settings, and file managers that load none.
Findings checkSwitches();

// Are the emblems found in the icon theme of the desktop.
Findings checkEmblems();

// What starts the extension: systemd's user unit, the autostart entry.
Findings checkStart();

// The settings, and the program that shows the panels.
Findings checkSettings();
Findings checkPanel();

} // namespace apps::tsyncfinder::doctor
