#include "platform/SecretBytes.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace platform {

SecretBytes::SecretBytes(std::size_t size) {
    if (size == 0) return;
    void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    // Both are additional protections: a system that refuses them still keeps the bytes private to the
    // process.
    static_cast<void>(madvise(memory, size, MADV_DONTDUMP));
    static_cast<void>(mlock(memory, size));
    start = static_cast<char*>(memory);
    length = mapped = size;
}

SecretBytes::SecretBytes(std::string_view bytes) : SecretBytes(bytes.size()) {
    std::copy(bytes.begin(), bytes.end(), start);
}

SecretBytes::SecretBytes(SecretBytes&& other) noexcept
    : start(std::exchange(other.start, nullptr)), length(std::exchange(other.length, 0)),
      mapped(std::exchange(other.mapped, 0)) {}

SecretBytes& SecretBytes::operator=(SecretBytes&& other) noexcept {
    std::swap(start, other.start);
    std::swap(length, other.length);
    std::swap(mapped, other.mapped);
    return *this;
}

SecretBytes::~SecretBytes() {
    if (!start) return;
    explicit_bzero(start, mapped);
    munmap(start, mapped);
}

void SecretBytes::shrinkTo(std::size_t size) {
    if (start) explicit_bzero(start + size, length - size);
    length = size;
}

} // namespace platform
