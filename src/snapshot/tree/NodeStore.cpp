#include "snapshot/tree/NodeStore.h"

#include "snapshot/tree/allocation.h"
#include "snapshot/tree/list_private.h"

#include <sys/mman.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace snapshot {

namespace {

constexpr uint32_t kSingleOnes = 2'000;

// The size of a large page on the usual machines: a chunk that is one costs one page fault.
constexpr size_t kChunkBytes = size_t{2} << 20;

// More nodes than fit a chunk: its holders until the store has counted what it gave.
constexpr uint32_t kOpenChunk = 1 << 20;

struct Block {
    DSListNode link;
    DSNode node;
};

size_t roomForName(size_t length) {
    return (length + sizeof(DSList*)) & ~(sizeof(DSList*) - 1); // its terminator included
}

size_t bytesOf(size_t nameLength) { return sizeof(Block) + roomForName(nameLength) + sizeof(DSList); }

// NOLINTNEXTLINE(readability-function-size): the fields of a node
DSNode* createIn(void* memory, std::string_view name, int64_t size, int64_t modifiedTime, int64_t startedTime,
                 uint8_t type, uint32_t flags) {
    auto* block = static_cast<Block*>(memory);
    block->link = {};
    DSNode* node = &block->node;
    char* inside = nameInside(node);
    memcpy(inside, name.data(), name.size());
    inside[name.size()] = '\0';
    auto* children = reinterpret_cast<DSList*>(inside + roomForName(name.size()));
    *children = {};
    children->_flags = kListOfChildren;
    *node = {inside,       size,        type,
             modifiedTime, startedTime, nullptr,
             children,     nullptr,     static_cast<uint32_t>(name.size()),
             flags};
    return node;
}

} // namespace

// At the start of its memory; found from a node by its alignment.
struct NodeStore::Chunk {
    std::atomic<uint32_t> holders{kOpenChunk};

    static void drop(Chunk* chunk, uint32_t holders) {
        if (chunk->holders.fetch_sub(holders, std::memory_order_acq_rel) == holders) free(chunk);
    }
};

NodeStore::~NodeStore() { leaveChunk(); }

void NodeStore::leaveChunk() {
    if (_chunk != nullptr) Chunk::drop(_chunk, kOpenChunk - _given);
}

DSNode* NodeStore::create(std::string_view name, int64_t size, int64_t modifiedTime, int64_t startedTime,
                          uint8_t type) {
    size_t bytes = bytesOf(name.size());
    if (_singleOnes < kSingleOnes || bytes > kChunkBytes / 64) {
        _singleOnes++;
        return createNode(name, size, modifiedTime, startedTime, type);
    }
    if (static_cast<size_t>(_end - _next) < bytes) {
        leaveChunk();
        void* memory = nullptr;
        if (posix_memalign(&memory, kChunkBytes, kChunkBytes) != 0) endForLackOfMemory();
        madvise(memory, kChunkBytes, MADV_HUGEPAGE); // where it fails pages are small
        _chunk = new (memory) Chunk;
        _next = static_cast<char*>(memory) + alignof(Block) * ((sizeof(Chunk) - 1) / alignof(Block) + 1);
        _end = static_cast<char*>(memory) + kChunkBytes;
        _given = 0;
    }
    void* memory = _next;
    _next += bytes;
    _given++;
    return createIn(memory, name, size, modifiedTime, startedTime, type, kInChunk);
}

void NodeStore::release(DSNode* node) {
    if ((node->_flags & kInChunk) == 0) {
        free(linkInside(node));
    } else {
        auto* start = reinterpret_cast<char*>(node);
        start -= reinterpret_cast<uintptr_t>(start) & (kChunkBytes - 1);
        Chunk::drop(reinterpret_cast<Chunk*>(start), 1);
    }
}

DSNode* createNode(std::string_view name, int64_t size, int64_t modifiedTime, int64_t startedTime,
                   uint8_t type) {
    return createIn(allocate(bytesOf(name.size())), name, size, modifiedTime, startedTime, type, 0);
}

} // namespace snapshot
