// What the terminal shows, and what it can show: badges as a mark and a label, names, and the signs that a
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

// The mark and label of one badge; "" for none. `labels` is by identifier; a badge without a mark of its own
// has a neutral one.
std::string drawBadge(const std::string& badge, const std::map<std::string, std::string>& labels,
                      const DrawingStyle& style);

// Control bytes of a name are shown as "?", so that a name cannot write to the terminal.
std::string printableName(const std::string& name);

} // namespace hosts::terminal
