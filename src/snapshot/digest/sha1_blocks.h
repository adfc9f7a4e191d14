// SHA-1 (FIPS 180-4) of two messages at once, each of one block together with its padding: what the digest of
// a file's node is. Two, because a step of the algorithm waits for the one before it, and the processor's SHA
// instructions have room for a second message meanwhile.
#pragma once

#include <cstddef>
#include <cstdint>

namespace snapshot {

constexpr size_t kBlock = 64; // bytes

// `blocks` are padded already. Each digest is 20 bytes.
using DigestPair = void (*)(const uint8_t (&blocks)[2][kBlock], uint8_t* first, uint8_t* second);

// With the library's functions; on every machine.
void digestPairPlainly(const uint8_t (&blocks)[2][kBlock], uint8_t* first, uint8_t* second);

// With the instructions of this processor, or nullptr where it has none. The result is the same.
DigestPair digestPairByInstructions();

} // namespace snapshot
