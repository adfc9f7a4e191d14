// The look of DSQuickLook.h with a choice of how it reads; for the tools and the benchmarks.
#pragma once

#include "snapshot/DSQuickLook.h"
#include "snapshot/scan/scan.h"

namespace snapshot {

// As DSNodeLookAgain.
int lookAgain(DSNode* root, DSEvidence* evidence, const char* path, int32_t look, const Reading& reading);

} // namespace snapshot
