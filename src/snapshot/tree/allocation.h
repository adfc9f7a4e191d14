// Allocation that ends the process when memory has run out: no C function of the engine has a way to say so.
#pragma once

#include <cstddef>
#include <string_view>

namespace snapshot {

[[noreturn]] void endForLackOfMemory();

// Released with free().
void* allocate(size_t size);
void* reallocate(void* memory, size_t size);

// The text with a terminator.
char* duplicate(std::string_view text);

} // namespace snapshot
