// What assistive programs are told of the jump bar and its menus: roles, states and actions. Names and
// descriptions are the widgets' own. Main thread only.
#pragma once

namespace backends::qt {

// From now on, for every bar, label and menu of the process. Calling it again changes nothing.
void describeToAssistivePrograms();

} // namespace backends::qt
