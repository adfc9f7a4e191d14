// Bytes that must not get out of the process: a password on its way between a person and the secret store.
//
// They lie in pages of their own that are left out of core dumps and, as far as the process may lock memory,
// never reach the swap space; they are overwritten when the object ends. Whoever takes them out of it copies
// them into memory without this protection.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace platform {

class SecretBytes {
  public:
    SecretBytes() = default;
    explicit SecretBytes(std::size_t size); // `size` zero bytes; throws std::bad_alloc
    explicit SecretBytes(std::string_view bytes);
    SecretBytes(SecretBytes&& other) noexcept;
    SecretBytes& operator=(SecretBytes&& other) noexcept;
    ~SecretBytes();

    // Borrowed until the object changes or ends.
    std::string_view view() const { return {start, length}; }
    std::span<char> bytes() { return {start, length}; }

    // Keeps the first bytes only. `size` is at most the present one.
    void shrinkTo(std::size_t size);

  private:
    char* start = nullptr; // a mapping of `mapped` bytes, or null
    std::size_t length = 0;
    std::size_t mapped = 0;
};

} // namespace platform
