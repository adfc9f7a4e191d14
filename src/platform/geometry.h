// Points, sizes and rectangles in points (1/72 inch on paper, one logical pixel on a screen), the origin at
// the lower left: y grows upwards. A toolkit whose y grows downwards flips at its own border.
#pragma once

namespace platform {

struct Point {
    double x = 0;
    double y = 0;
    friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
    double width = 0;
    double height = 0;
    friend bool operator==(const Size&, const Size&) = default;
};

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    friend bool operator==(const Rect&, const Rect&) = default;
};

} // namespace platform
