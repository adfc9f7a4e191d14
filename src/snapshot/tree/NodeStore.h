// Memory for the nodes that one load, scan or copy makes. A large tree's nodes come from chunks, side by side
// in the order of their making: that costs no call of the allocator for a node and few page faults. The first
// ones are allocated singly, so that a small tree takes no chunk.
#pragma once

#include "snapshot/DSNode.h"

#include <cstdint>
#include <string_view>

namespace snapshot {

class NodeStore {
  public:
    NodeStore() = default;
    ~NodeStore();
    NodeStore(const NodeStore&) = delete;
    NodeStore& operator=(const NodeStore&) = delete;

    // A detached node; see DSNodeCreate. It outlives the store.
    DSNode* create(std::string_view name, int64_t size, int64_t modifiedTime, int64_t startedTime,
                   uint8_t type);

    // Releases a node's memory, wherever it is from. A chunk goes with its last node; trees that share one
    // may live on different threads.
    static void release(DSNode* node);

  private:
    struct Chunk;

    void leaveChunk();

    Chunk* _chunk = nullptr;
    char* _next = nullptr; // free memory of the chunk, from here
    char* _end = nullptr;
    uint32_t _given = 0;      // nodes of the chunk
    uint32_t _singleOnes = 0; // allocated before the first chunk
};

// A new node in an allocation of its own; see DSNodeCreate.
DSNode* createNode(std::string_view name, int64_t size, int64_t modifiedTime, int64_t startedTime,
                   uint8_t type);

} // namespace snapshot
