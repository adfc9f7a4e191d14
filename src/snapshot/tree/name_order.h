// The two orders of names, and how two names stand to each other in them.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace snapshot {

// Each is a bit of DSList::_flags too: set while the names of a children list ascend strictly in that order.
enum NameOrder : uint32_t {
    kListAscending = 4,       // bytes as unsigned numbers: the order of a scan
    kListAscendingSigned = 8, // bytes as signed numbers: the order of a digest computation
};

// How many of their first `length` bytes two texts have in common.
inline size_t commonStart(const char* first, const char* second, size_t length) {
    constexpr size_t word = sizeof(uint64_t);
    size_t at = 0;
    for (; at + word <= length; at += word) {
        uint64_t a = 0;
        uint64_t b = 0;
        memcpy(&a, first + at, word);
        memcpy(&b, second + at, word);
        if (a == b) continue;
        bool isLittle = std::endian::native == std::endian::little;
        return at + static_cast<size_t>(isLittle ? std::countr_zero(a ^ b) : std::countl_zero(a ^ b)) / 8;
    }
    while (at < length && first[at] == second[at])
        at++;
    return at;
}

// The orders in which the first name stands strictly before the second (both, one or none).
inline uint32_t orderOfNames(std::string_view first, std::string_view second) {
    size_t length = std::min(first.size(), second.size());
    size_t same = commonStart(first.data(), second.data(), length);
    if (same == length) return first.size() < second.size() ? kListAscending | kListAscendingSigned : 0U;
    auto a = static_cast<unsigned char>(first[same]);
    auto b = static_cast<unsigned char>(second[same]);
    return (a < b ? kListAscending : 0U) |
           (static_cast<signed char>(a) < static_cast<signed char>(b) ? kListAscendingSigned : 0U);
}

// The order of a digest computation, for DSListSort over a list of nodes: byte by byte as signed numbers; of
// two names of which one begins with the other the shorter comes first.
int _compar(const void* first, const void* second);

} // namespace snapshot
