// Where a person sits who asked for something: the display of the program that they used. It travels with
// the request, so that a window opens there and not where the extension was started.
#pragma once

#include <map>
#include <string>

namespace platform {

struct Display {
    std::map<std::string, std::string> environment; // DISPLAY, WAYLAND_DISPLAY, LANG, …; empty: no display
    std::string activationToken;                    // lets a new window come to the front; empty: none
    std::string parentWindow;                       // "x11:" and its number in hexadecimal; empty: none
};

} // namespace platform
