// Texts as Qt shows them, in the session's language.
#pragma once

#include "platform/DisplayText.h"
#include "platform/Menu.h"

#include <QFontMetrics>
#include <QString>
#include <QStringList>
#include <string>

namespace backends::qt {

// The toolkit's own texts (of the menu of a text field) in the same language, where its package of
// translations is installed. To be called once, when the application object exists.
void translateToolkit();

QString shown(const char* english);
QString shown(const platform::DisplayText& text);

// Whether an item with that image stands for a folder that is still to be made.
bool isNewFolder(const platform::ImageHandle& image);

// The title of a menu item: a row without a represented object is a text of our own and is translated, the
// name of a folder never is.
QString shownTitle(const platform::MenuItem& item);

// A name or path that a line can be broken in, so that a label that wraps never widens its window: after each
// separator, and every few characters of a long run without blanks, never inside a character as a person sees
// it. For the screen only: what is read out or copied has no such marks. Linear.
std::string breakable(const std::string& text);
platform::DisplayText breakable(platform::DisplayText text); // the arguments

// A name as a tool tip, which takes several lines where it is long.
QString toolTipOf(const QString& name);

// The titles of a path in a line.
QString pathOf(const QStringList& titles);

// The same, the last title in any case: as many of those before it as the width (pixels)
// has room for, an ellipsis for the others.
QString pathInWidth(const QStringList& titles, const QFontMetrics& metrics, int width);

} // namespace backends::qt
