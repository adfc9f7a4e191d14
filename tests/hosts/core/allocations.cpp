#include "tests/hosts/core/allocations.h"

#include <cstddef>
#include <limits>
#include <malloc.h>

namespace {

constexpr long never = std::numeric_limits<long>::max();
long given = 0;
long allowed = never;

} // namespace

extern "C" {
void* __real_malloc(std::size_t size);
void __real_free(void* block);
void* __wrap_malloc(std::size_t size);
void __wrap_free(void* block);

void* __wrap_malloc(std::size_t size) {
    if (allowed != never && --allowed < 0) return nullptr;
    void* const block = __real_malloc(size);
    given += static_cast<long>(malloc_usable_size(block));
    return block;
}
void __wrap_free(void* block) {
    given -= static_cast<long>(malloc_usable_size(block));
    __real_free(block);
}
}

namespace allocations {

long live() { return given; }

void refuseAfter(long count) { allowed = count; }

bool refuseNoMore() {
    const bool wasRefused = allowed < 0;
    allowed = never;
    return wasRefused;
}

} // namespace allocations
