// Counts the memory of a test program. In one source of a program only: it replaces its allocation functions.
#pragma once

#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <new>

// The memory that C++ code of this program holds, and held at most, with the allocator's own words. The bus
// library's is not counted.
namespace counted {

std::atomic<std::size_t> now = 0;
std::atomic<std::size_t> peak = 0;
} // namespace counted

void* operator new(std::size_t size) {
    void* const block = std::malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    const std::size_t held = counted::now += ::malloc_usable_size(block) + sizeof(void*);
    if (held > counted::peak) counted::peak = held;
    return block;
}
void operator delete(void* block) noexcept {
    if (block != nullptr) counted::now -= ::malloc_usable_size(block) + sizeof(void*);
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept { operator delete(block); }
