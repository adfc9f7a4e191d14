// Texts as Qt shows them, in the session's language.
#pragma once

#include "platform/DisplayText.h"
#include "platform/Menu.h"

#include <QString>
#include <string>

namespace backends::qt {

QString shown(const char* english);
QString shown(const platform::DisplayText& text);

// The title of a menu item: a row without a represented object is a text of our own and is translated, the
// name of a folder never is.
QString shownTitle(const platform::MenuItem& item);

// A path that a line can be broken in, after each separator.
std::string breakable(const std::string& path);

} // namespace backends::qt
