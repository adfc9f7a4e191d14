#include "snapshot/tree/DigestStore.h"

#include "snapshot/tree/allocation.h"
#include "snapshot/tree/list_private.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace snapshot {

namespace {

constexpr uint32_t kSingleOnes = 64;
constexpr size_t kBlockAlignment = size_t{16} << 10;
constexpr size_t kBlockBytes =
    kBlockAlignment - 64; // blocks lie side by side in spite of the allocator's header
constexpr uint32_t kDigests = (kBlockBytes - sizeof(uint64_t)) / DSNodeHashLength;

} // namespace

// Found from a digest by its alignment.
struct DigestStore::Block {
    std::atomic<uint32_t> holders{kDigests + 1}; // digests with nodes or still to give, and the store
    uint8_t digests[kDigests][DSNodeHashLength] = {};

    static void drop(Block* block, uint32_t holders) {
        if (block->holders.fetch_sub(holders, std::memory_order_acq_rel) == holders) free(block);
    }
};

DigestStore::~DigestStore() {
    if (_block != nullptr) Block::drop(_block, kDigests - _given + 1);
}

void DigestStore::provide(DSNode* node) {
    if (node->hash != nullptr) return;
    if (_singleOnes < kSingleOnes) {
        _singleOnes++;
        node->hash = static_cast<uint8_t*>(allocate(DSNodeHashLength));
        memset(node->hash, 0, DSNodeHashLength);
        return;
    }
    if (_block == nullptr || _given == kDigests) {
        if (_block != nullptr) Block::drop(_block, 1);
        void* memory = nullptr;
        if (posix_memalign(&memory, kBlockAlignment, kBlockBytes) != 0) endForLackOfMemory();
        static_assert(sizeof(Block) <= kBlockBytes);
        _block = new (memory) Block;
        _given = 0;
    }
    node->hash = _block->digests[_given++];
    node->_flags |= kDigestInBlock;
}

void DigestStore::release(DSNode* node) {
    if ((node->_flags & kDigestInBlock) == 0) {
        free(node->hash);
    } else {
        uint8_t* start = node->hash;
        start -= reinterpret_cast<uintptr_t>(start) & (kBlockAlignment - 1);
        Block::drop(reinterpret_cast<Block*>(start), 1);
    }
    node->hash = nullptr;
    node->_flags &= ~kDigestInBlock;
}

} // namespace snapshot
