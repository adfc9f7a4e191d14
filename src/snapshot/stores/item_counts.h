// About how many items a store holds, told from its first bytes: what a scan of the same directory is likely
// to find.
#pragma once

#include <cstdint>

namespace snapshot {

// By the bars in pieces from all over the file: each record has five, and few names have one. 0 when the file
// is not there or holds no record.
uint64_t roughlyItemsInFlatFile(const char* path);

// As the evidence says; 0 when there is none.
uint64_t itemsInEvidence(const char* path);

} // namespace snapshot
