// The digest of a file's content of DSDigest.h, by who wants to see how far it is.
#pragma once

#include <atomic>
#include <cstdint>

namespace snapshot {

// As SHA1ForFileAtPath; adds the bytes to `bytesRead`, if any, as they are read.
int sha1ForFileAtPath(const char* path, char* output, std::atomic<uint64_t>* bytesRead);

} // namespace snapshot
