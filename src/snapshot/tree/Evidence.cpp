#include "snapshot/tree/Evidence.h"

#include "snapshot/tree/list_private.h"

#include <new>

namespace snapshot {

uint32_t checkOfNode(const DSNode& node) {
    uint32_t hash = 2166136261U;
    const auto add = [&hash](uint64_t value, unsigned bytes) {
        for (unsigned i = 0; i < bytes; i++)
            hash = (hash ^ static_cast<uint8_t>(value >> (8 * i))) * 16777619U;
    };
    for (char byte : nameOf(&node))
        add(static_cast<uint8_t>(byte), 1);
    add(node.type, 1);
    add(static_cast<uint64_t>(node.size), 8);
    add(static_cast<uint64_t>(node.modifiedTime), 8);
    return hash;
}

} // namespace snapshot

DSEvidence* DSEvidenceCreate() noexcept { return new (std::nothrow) DSEvidence; }

void DSEvidenceDestroy(DSEvidence* evidence) noexcept { delete evidence; }

uint64_t DSEvidenceDirectoriesRead(const DSEvidence* evidence) noexcept {
    return evidence != nullptr ? evidence->directoriesRead : 0;
}
