#include "snapshot/tree/allocation.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace snapshot {

void endForLackOfMemory() {
    fputs("Out of memory.\n", stderr);
    abort();
}

void* allocate(size_t size) { return reallocate(nullptr, size); }

void* reallocate(void* memory, size_t size) {
    void* result = realloc(memory, size);
    if (result == nullptr) endForLackOfMemory();
    return result;
}

char* duplicate(std::string_view text) {
    char* copy = static_cast<char*>(allocate(text.size() + 1));
    memcpy(copy, text.data(), text.size());
    copy[text.size()] = '\0';
    return copy;
}

} // namespace snapshot
