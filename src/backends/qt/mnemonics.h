// The Alt keys of a window. Main thread only.
#pragma once

class QWidget;

namespace backends::qt {

// Gives each button, and each label with a buddy, in the order in which they were made, the first letter of
// its text that nothing before it has. So no language's table has to keep them apart. Call it when the texts
// are set; a text that has a mark already keeps it.
void giveMnemonics(QWidget& window);

} // namespace backends::qt
