// Memory for the digests of one computation. A large tree's digests come from blocks, so that a node costs no
// call of the allocator and 20 bytes; the first ones are allocated singly, so that a small tree takes no
// block.
#pragma once

#include "snapshot/DSNode.h"

#include <cstdint>

namespace snapshot {

class DigestStore {
  public:
    DigestStore() = default;
    ~DigestStore();
    DigestStore(const DigestStore&) = delete;
    DigestStore& operator=(const DigestStore&) = delete;

    // Gives a node that has none a digest of zero bytes. It is the node's from then on and outlives the
    // store.
    void provide(DSNode* node);

    // Takes a node's digest away, if it has one. A block goes with its last digest; trees that share a block
    // may live on different threads.
    static void release(DSNode* node);

  private:
    struct Block;

    Block* _block = nullptr;
    uint32_t _given = 0;      // digests of the block that nodes have
    uint32_t _singleOnes = 0; // allocated before the first block
};

} // namespace snapshot
