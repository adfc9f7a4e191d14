// The rectangles of a tree map: areas in proportion to sizes, as near to squares as a simple rule gets them.
// Source: M. Bruls, K. Huizing, J. J. van Wijk, "Squarified Treemaps", 2000: a row along the shorter side of
// what is free takes one more as long as its worst rectangle becomes no longer by it.
#pragma once

#include <vector>

namespace dirsnapshot_tool {

struct Rectangle {
    double x = 0, y = 0, width = 0, height = 0;
};

// One rectangle for each size. The sizes are positive and descend. `total` is what the whole area stands for,
// at least their sum: what is over stays free, at the right or at the bottom. Linear.
std::vector<Rectangle> squarified(const std::vector<double>& sizes, double total, Rectangle area);

} // namespace dirsnapshot_tool
