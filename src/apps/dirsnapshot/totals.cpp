#include "apps/dirsnapshot/totals.h"

#include "snapshot/tree/cxx.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace dirsnapshot_tool {

int64_t bytesOf(const DSNode& node) {
    const bool counts = node.type == DSNodeTypeFile || node.type == DSNodeTypeDirectory;
    return counts ? std::max<int64_t>(node.size, 0) : 0;
}

void foldTotals(DSNode* root) {
    if (root->type != DSNodeTypeDirectory) return;
    int64_t total = 0;
    for (uint64_t i = 0; i < root->children->count; i++) {
        DSNode* child = snapshot::childAt(root, i);
        foldTotals(child);
        if (__builtin_add_overflow(total, bytesOf(*child), &total)) total = INT64_MAX;
    }
    root->size = total;
}

std::string humanSize(int64_t bytes) {
    constexpr double kUnit = 1024;
    if (bytes < 1024) return std::to_string(bytes);
    auto value = static_cast<double>(bytes);
    const char* unit = "BKMGTPE";
    while (std::ceil(value) >= kUnit) {
        value /= kUnit;
        unit++;
    }
    char text[16];
    const double tenths = std::ceil(value * 10);
    if (tenths < 100)
        snprintf(text, sizeof text, "%.1f%c", tenths / 10, *unit);
    else
        snprintf(text, sizeof text, "%.0f%c", std::ceil(value), *unit);
    return text;
}

} // namespace dirsnapshot_tool
