// What the terminal shows, and what it can show: badges as a sign and a label, names, and the signs that a
// terminal without Unicode has in their place.
#pragma once

#include <map>
#include <string>

namespace hosts::terminal {

struct DrawingStyle {
    bool hasColors = false;
    bool isUnicode = false; // otherwise all but names is ASCII

    // Colours: a terminal on standard output that is not dumb, and a person who has not set NO_COLOR.
    // Unicode: a locale whose character set is UTF-8.
    static DrawingStyle ofStandardOutput();
};

// How a badge looks; without signs of its own it has neutral ones.
struct BadgeLook {
    std::string label;
    std::string sign = "●";
    std::string asciiSign = "*";
    std::string colour = "0"; // SGR parameter
};
using BadgeLooks = std::map<std::string, BadgeLook>; // by identifier

// The sign and label of one badge; "" for none. One that is not known is shown by its identifier.
std::string drawBadge(const std::string& badge, const BadgeLooks& looks, const DrawingStyle& style);

// Control bytes of a name are shown as "?", so that a name cannot write to the terminal.
std::string printableName(const std::string& name);

} // namespace hosts::terminal
