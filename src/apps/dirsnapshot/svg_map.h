// A tree map of a snapshot as an SVG picture (SVG 1.1): rectangles within rectangles, each as large as the
// bytes below it. The endings of names that take most are coloured, and named below the map. Whoever points
// at a rectangle in a browser reads its path and size.
#pragma once

#include "snapshot/DSNode.h"

#include <cstdio>
#include <string>

namespace dirsnapshot_tool {

struct PictureSize {
    int width = 1200, height = 800; // pixels
};

// Writes the picture of a directory whose totals are folded (see totals.h). What would be smaller than three
// pixels by three is left out, so that the picture's length follows from its size, not from the snapshot's.
// Linear in the number of items but for the sorting of what is drawn.
void drawMap(FILE* file, const DSNode* top, const std::string& path, PictureSize size);

} // namespace dirsnapshot_tool
