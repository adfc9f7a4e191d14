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

// A name or path that a line can be broken in, so that a label that wraps never widens its window: after each
// separator, and every few characters of a long run without blanks, never inside a character as a person sees
// it. For the screen only: what is read out or copied has no such marks. Linear.
std::string breakable(const std::string& text);
platform::DisplayText breakable(platform::DisplayText text); // the arguments

} // namespace backends::qt
