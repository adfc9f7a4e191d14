// Names in an SVG picture. A byte that is not UTF-8, and a character that XML 1.0 (section 2.2) has no way to
// write, shows as U+FFFD.
#pragma once

#include <string>
#include <string_view>

namespace dirsnapshot_tool {

// As the content of an element or an attribute; a line break stays one.
std::string svgText(std::string_view bytes);

// About how many pixels a text takes in a sans-serif face of 11 pixels: rather too many than too few.
double textWidth(std::string_view bytes);

// What fits a width, with an ellipsis where that is not all; empty when no more than the ellipsis would.
std::string shortened(std::string_view bytes, double width);

} // namespace dirsnapshot_tool
