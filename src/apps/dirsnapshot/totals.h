// How much lies below each directory of a snapshot, and how sizes are shown.
#pragma once

#include "snapshot/DSNode.h"

#include <cstdint>
#include <string>

namespace dirsnapshot_tool {

// What an item counts for: bytes of a regular file, 0 of a link; of a directory, what foldTotals put there.
int64_t bytesOf(const DSNode& node);

// Sets the `size` of each directory to the bytes of all regular files below it, so that totals cost no memory
// of their own. The tree is no snapshot to save afterwards. A size below 0, which a store may hold, counts 0;
// what exceeds the range stays at its end. The depth is that of a tree from a scan or a store: paths bound
// it.
void foldTotals(DSNode* root);

// At most four digits and a unit of 1,024 each, rounded up as du does: "1023", "1.1K", "12M".
std::string humanSize(int64_t bytes);

} // namespace dirsnapshot_tool
