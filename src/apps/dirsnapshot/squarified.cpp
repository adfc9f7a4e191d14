#include "apps/dirsnapshot/squarified.h"

#include <algorithm>
#include <cstddef>
#include <limits>

namespace dirsnapshot_tool {

namespace {

// The sizes from a place on that share a row, and their area.
struct Row {
    std::size_t count = 0;
    double area = 0;
};

Row rowFrom(const std::vector<double>& sizes, std::size_t first, double scale, double side) {
    Row row;
    double worst = std::numeric_limits<double>::infinity();
    for (std::size_t i = first; i < sizes.size(); i++) {
        const double area = row.area + sizes[i] * scale;
        // The longest is the first one or this one: lengths along the side are in proportion to areas.
        const double ratio = std::max(side * side * sizes[first] * scale / (area * area),
                                      area * area / (side * side * sizes[i] * scale));
        if (ratio > worst) break;
        worst = ratio;
        row = {row.count + 1, area};
    }
    return row;
}

} // namespace

std::vector<Rectangle> squarified(const std::vector<double>& sizes, double total, Rectangle area) {
    std::vector<Rectangle> placed;
    placed.reserve(sizes.size());
    const double scale = area.width * area.height / total;
    while (placed.size() < sizes.size()) {
        const bool isWide = area.width >= area.height;
        const double side = isWide ? area.height : area.width;
        const std::size_t first = placed.size();
        const Row row = rowFrom(sizes, first, scale, side);
        // Sums of what was rounded may exceed what is free by a trifle.
        const double depth = std::min(row.area / side, isWide ? area.width : area.height);
        double along = isWide ? area.y : area.x;
        for (std::size_t i = first; i < first + row.count; i++) {
            const double length = sizes[i] * scale / row.area * side;
            placed.push_back(isWide ? Rectangle{area.x, along, depth, length}
                                    : Rectangle{along, area.y, length, depth});
            along += length;
        }
        (isWide ? area.x : area.y) += depth;
        (isWide ? area.width : area.height) -= depth;
    }
    return placed;
}

} // namespace dirsnapshot_tool
