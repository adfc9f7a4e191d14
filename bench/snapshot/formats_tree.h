// The trees whose storing is measured, built in memory: what a store costs does not depend on where its items
// come from.
#pragma once

#include "snapshot/DSNode.h"

namespace bench {

// Shapes of real use, from a seed: A a large home directory (200,000 files in 20,000 directories, at most 8
// levels, names of 8 to 30 bytes), B 100,000 files in one directory, C like A with a million items. Siblings
// are in the byte order of their names, as a scan leaves them.
DSNode* treeA();
DSNode* treeB();
DSNode* treeC();

// Number of items below the root.
unsigned itemsBelow(const DSNode* root);

} // namespace bench
